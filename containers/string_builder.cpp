// Text built from formatted pieces, formatted straight into the free room.
#include "anvil/string_builder.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/errno_guard.hpp"

struct string_builder {
    char *data;
    uint32_t capacity;
    uint32_t length;  // data[length] is always NUL
};

namespace {

constexpr uint32_t initial_capacity = 512;

}  // namespace

string_builder *string_builder_create(void)
{
    auto *b = static_cast<string_builder *>(std::malloc(sizeof(string_builder)));
    if (!b)
        return nullptr;
    auto *data = static_cast<char *>(std::malloc(initial_capacity));
    if (!data) {
        anvil::free_keep_errno(b);
        return nullptr;
    }
    data[0] = '\0';
    *b = string_builder{data, initial_capacity, 0};
    return b;
}

void string_builder_destroy(string_builder *builder)
{
    std::free(builder->data);
    std::free(builder);
}

int string_builder_append(string_builder *builder, const char *format, ...)
{
    uint32_t room = builder->capacity - builder->length;
    va_list args;
    va_start(args, format);
    int r = std::vsnprintf(builder->data + builder->length, room, format, args);
    va_end(args);
    if (r >= 0 && static_cast<uint32_t>(r) < room) {
        builder->length += static_cast<uint32_t>(r);
        return 0;
    }
    // The first pass may have left part of the piece behind the text.
    builder->data[builder->length] = '\0';
    if (r < 0)
        return -1;
    // Twice the text's new length, which must still fit the 32-bit capacity.
    auto n = static_cast<uint32_t>(r);
    uint64_t wanted = (uint64_t{builder->length} + n) * 2;
    if (wanted > UINT32_MAX)
        return anvil::fail(ENOMEM);
    auto *data = static_cast<char *>(std::realloc(builder->data, static_cast<size_t>(wanted)));
    if (!data)
        return -1;
    builder->data = data;
    builder->capacity = static_cast<uint32_t>(wanted);
    va_start(args, format);
    int again = std::vsnprintf(data + builder->length, builder->capacity - builder->length,
                               format, args);
    va_end(args);
    // Only a failure of the second pass (a wide-character conversion, say)
    // can change the count; the text then stays as before the call.
    if (again != r) {
        data[builder->length] = '\0';
        return -1;
    }
    builder->length += n;
    return 0;
}

void string_builder_truncate(string_builder *builder, uint32_t length)
{
    if (builder->length > length) {
        builder->data[length] = '\0';
        builder->length = length;
    }
}

uint32_t string_builder_length(const string_builder *builder)
{
    return builder->length;
}

char *string_builder_to_string(const string_builder *builder)
{
    return builder->data;
}
