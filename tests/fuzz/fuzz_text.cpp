// Checks trim and parseNameValue on every input against plain string models.
#include <anvil/text.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr size_t npos = std::string::npos;

// The fuzzer runs in the C locale: these six are its white space.
void check_trim(const std::string &text)
{
    size_t first = text.find_first_not_of(" \t\n\v\f\r"), last = text.find_last_not_of(" \t\n\v\f\r");
    std::string buf = text;
    trim(buf.data());
    if (buf.c_str() != (first == npos ? "" : text.substr(first, last - first + 1)))
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text = std::string(reinterpret_cast<const char *>(data), size).c_str();
    // And with every byte value at both ends: each is classified unsigned.
    check_trim(text);
    for (int b = 1; b < 256; ++b)
        check_trim(char(b) + text + char(b));

    // Each call splits off the pair at pos; a failed call leaves value, and a
    // call on a null cursor both name and value, as they were.
    std::string buf = text;
    char *cursor = buf.data(), *name, *value, untouched[] = "-";
    for (size_t pos = 0;;) {
        name = value = untouched;
        int r = parseNameValue(&cursor, &name, &value);
        if (pos == npos) {
            if (r != -1 || name != untouched || value != untouched)
                abort();
            break;
        }
        size_t eq = text.find('=', pos);
        size_t amp = eq == npos ? eq : text.find('&', eq);
        if (name != text.substr(pos, eq - pos) || r != (eq == npos ? -1 : 0) || (cursor == nullptr) != (amp == npos))
            abort();
        if (value != (r == -1 ? std::string(untouched) : text.substr(eq + 1, amp - eq - 1)))
            abort();
        pos = amp == npos ? amp : amp + 1;
    }
    return 0;
}
