// The two memory routines that the compiler may emit calls to on its own, for
// example to fill or copy a structure, when no C runtime is linked. This file is
// built with loop pattern recognition off, so the loops below stay loops instead
// of becoming calls to themselves.
#include <stddef.h>

extern "C" void* memset(void* destination, int value, size_t count) {
    unsigned char* bytes = static_cast<unsigned char*>(destination);
    while (count-- > 0)
        *bytes++ = static_cast<unsigned char>(value);
    return destination;
}

extern "C" void* memcpy(void* destination, const void* source, size_t count) {
    unsigned char* to = static_cast<unsigned char*>(destination);
    const unsigned char* from = static_cast<const unsigned char*>(source);
    while (count-- > 0)
        *to++ = *from++;
    return destination;
}
