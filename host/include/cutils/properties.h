#pragma once
/*
 * Android system properties, as libcutils declares them. On Linux they read
 * the property store of libbase (android::base::SetProperty/GetProperty), so
 * a host program sets a property there before a selector reads it.
 */

#include <stdint.h>

#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Copies the value (at most PROPERTY_VALUE_MAX - 1 characters) or the default
// into value and answers its length.
int property_get(const char *key, char *value, const char *default_value);

// 1 for "1", "y", "yes", "true", "on"; 0 for "0", "n", "no", "false", "off";
// default_value otherwise.
int8_t property_get_bool(const char *key, int8_t default_value);

// The value as a number in base 10, 16 ("0x") or 8 ("0"); default_value when
// unset, not a number, or out of range.
int64_t property_get_int64(const char *key, int64_t default_value);

#ifdef __cplusplus
}
#endif
