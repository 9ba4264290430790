/// libxml2 with a memory that runs out.
#ifndef SHORTMEMORY_H
#define SHORTMEMORY_H

#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <cstring>

/// While it lives, the first @p requests of libxml2 for memory are met and no other. One at a time.
class ShortMemory {
public:
    explicit ShortMemory(long requests)
    {
        left() = requests;
        xmlMemSetup(
            std::free, [](size_t size) { return left()-- > 0 ? std::malloc(size) : nullptr; },
            [](void* old, size_t size) { return left()-- > 0 ? std::realloc(old, size) : nullptr; },
            [](const char* text) { return left()-- > 0 ? strdup(text) : nullptr; });
    }
    ~ShortMemory() { xmlMemSetup(std::free, std::malloc, std::realloc, strdup); }
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;

    /// Whether a request was refused.
    static bool ranOut() { return left() < 0; }

private:
    static long& left()
    {
        static long requests = 0;
        return requests;
    }
};

#endif
