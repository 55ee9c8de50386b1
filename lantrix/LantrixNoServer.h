// The server of node handles that have not been given one: it has the empty host name, so that
// every call fails. All such handles of the process share it, in any thread; therefore each thread
// that calls has its own state behind it, with its own last error.
#ifndef LANTRIX_LANTRIXNOSERVER_H
#define LANTRIX_LANTRIXNOSERVER_H

class LantrixServerHandle;

const LantrixServerHandle& lantrixNoServer();

#endif
