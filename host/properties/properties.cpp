// libcutils' property readers over the property store of libbase, with
// libcutils' own parsing rules.

#include <cutils/properties.h>

#include <android-base/properties.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <string>

extern "C" int property_get(const char *key, char *value, const char *default_value)
{
    std::string text = key ? android::base::GetProperty(key, "") : std::string();
    if (text.empty() && default_value)
        text = default_value;
    size_t length = text.size() < PROPERTY_VALUE_MAX - 1 ? text.size() : PROPERTY_VALUE_MAX - 1;
    std::memcpy(value, text.data(), length);
    value[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int8_t property_get_bool(const char *key, int8_t default_value)
{
    if (!key)
        return default_value;
    char buf[PROPERTY_VALUE_MAX] = {};
    int length = property_get(key, buf, "");
    if (length == 1) {
        if (buf[0] == '0' || buf[0] == 'n')
            return 0;
        if (buf[0] == '1' || buf[0] == 'y')
            return 1;
    } else if (length > 1) {
        if (!std::strcmp(buf, "no") || !std::strcmp(buf, "false") || !std::strcmp(buf, "off"))
            return 0;
        if (!std::strcmp(buf, "yes") || !std::strcmp(buf, "true") || !std::strcmp(buf, "on"))
            return 1;
    }
    return default_value;
}

extern "C" int64_t property_get_int64(const char *key, int64_t default_value)
{
    if (!key)
        return default_value;
    char buf[PROPERTY_VALUE_MAX] = {};
    if (property_get(key, buf, "") <= 0)
        return default_value;
    int savedErrno = errno;
    errno = 0;
    char *end = nullptr;
    intmax_t value = std::strtoimax(buf, &end, 0);
    bool overflow = (value == INTMAX_MIN || value == INTMAX_MAX) && errno == ERANGE;
    bool outOfRange = value < INT64_MIN || value > INT64_MAX;
    errno = savedErrno;
    if (overflow || outOfRange || end == buf)
        return default_value;
    return static_cast<int64_t>(value);
}
