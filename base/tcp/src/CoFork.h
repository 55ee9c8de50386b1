// Tells a process from its children, without a system call. Stateless for its users; any thread.
#ifndef BASE_TCP_COFORK_H
#define BASE_TCP_COFORK_H

/// A number that differs between a process and each of its children.
unsigned coProcessGeneration();

#endif
