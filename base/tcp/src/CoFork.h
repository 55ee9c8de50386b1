// Tells a process from its children, without a system call. Stateless for its users; any thread.
#ifndef BASE_TCP_COFORK_H
#define BASE_TCP_COFORK_H

/// A number that each fork gives another value in the child.
unsigned coProcessGeneration();

#endif
