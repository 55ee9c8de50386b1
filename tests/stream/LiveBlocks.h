// Takes the place of the program's operator new, to count what is not given back.
#ifndef TESTS_STREAM_LIVEBLOCKS_H
#define TESTS_STREAM_LIVEBLOCKS_H

/// Blocks of operator new that have not been deleted, in all threads.
long liveBlocks();

#endif
