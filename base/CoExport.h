// Marks what the shared library exports; everything else is compiled hidden.
#ifndef BASE_COEXPORT_H
#define BASE_COEXPORT_H

#define CO_EXPORT __attribute__((visibility("default")))

#endif
