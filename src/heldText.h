// Texts that a record holds as heap copies of its own.
#ifndef HELDTEXT_H
#define HELDTEXT_H

#include <cstdlib>
#include <cstring>

/// Puts a copy of @p text (null: none), to be released with free(), in the place of what was held, which is released.
inline void replaceText(char*& held, const char* text)
{
    char* const copy = text != nullptr ? strdup(text) : nullptr;
    std::free(held);
    held = copy;
}

#endif
