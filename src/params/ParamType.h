#pragma once

#include <QtGlobal>

// Type code of a parameter record. An even code other than ParamRoot is the internal twin of the
// odd code before it: the instrument fills it, the user does not edit it. Codes are kept as plain
// 32-bit numbers in the records because a table may carry a code outside this list (it is then
// reported, never trusted).
enum ParamType : quint32 {
    ParamRoot = 0,
    ParamInteger = 1,
    ParamInternalInteger = 2,
    ParamFloat = 3,
    ParamInternalFloat = 4,
    ParamString = 5,
    ParamInternalString = 6,
    ParamBoolean = 7,
    ParamInternalBoolean = 8,
};

inline bool param_type_is_internal(quint32 type) {
    return type != ParamRoot && type <= 8 && type % 2 == 0;
}
inline bool param_type_is_editable(quint32 type) {
    return type <= 8 && type % 2 == 1;
}
