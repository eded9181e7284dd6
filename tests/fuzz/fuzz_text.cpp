// Checks trim and parseNameValue on every input against plain string models.
#include <anvil/text.h>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text = std::string(reinterpret_cast<const char *>(data), size).c_str();

    // The fuzzer runs in the C locale: these six are its white space.
    size_t first = text.find_first_not_of(" \t\n\v\f\r");
    size_t last = text.find_last_not_of(" \t\n\v\f\r");
    std::string buf = text;
    trim(buf.data());
    if (buf.c_str() != (first == std::string::npos ? "" : text.substr(first, last - first + 1)))
        abort();

    buf = text;
    char *cursor = buf.data(), *name, *value;
    for (size_t pos = 0;;) {
        int r = parseNameValue(&cursor, &name, &value);
        if (pos == std::string::npos) {
            if (r != -1)
                abort();
            break;
        }
        size_t eq = text.find('=', pos);
        size_t amp = eq == std::string::npos ? eq : text.find('&', eq);
        std::string want_name = text.substr(pos, eq - pos);
        if (name != want_name || r != (eq == std::string::npos ? -1 : 0) || (cursor == nullptr) != (amp == std::string::npos))
            abort();
        if (r == -1)
            break;
        if (value != text.substr(eq + 1, amp - eq - 1))
            abort();
        pos = amp == std::string::npos ? amp : amp + 1;
    }
    return 0;
}
