#pragma once

#include "params/ParamType.h"

#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

// One named, typed value of a parameter table, with its bounds and one-line help.
//
// Each record keeps its value in the member of its type. Strings behave as the instrument's
// fixed NUL-terminated buffers: `stringCapacity` bytes, so at most stringCapacity - 1 characters
// are ever stored, whatever the source. Floats are 32-bit and booleans are 0/1.
struct ParamDef {
    std::string name;
    quint32 type = ParamRoot;
    // Lower and upper bound: of the value for numbers, of the length for strings. Internal
    // records carry -1 to -1 and are never checked.
    float min = 0.0f;
    float max = 0.0f;
    // May hold an embedded newline followed by "// " (the text goes into comment lines).
    std::string description;

    qint32 intValue = 0;
    float floatValue = 0.0f;
    bool boolValue = false;
    std::string stringValue;
    std::size_t stringCapacity = 0;

    // Stores at most stringCapacity - 1 bytes of `text` (nothing when the capacity is 0).
    void setString(std::string_view text) {
        const std::size_t room = stringCapacity > 0 ? stringCapacity - 1 : 0;
        stringValue.assign(text.substr(0, std::min(room, text.size())));
    }

    static ParamDef root(std::string title) {
        ParamDef d;
        d.name = std::move(title);
        return d;
    }
    static ParamDef integer(std::string name, float min, float max, qint32 value, std::string description,
                            bool internal = false) {
        ParamDef d = make(std::move(name), internal ? ParamInternalInteger : ParamInteger, min, max,
                          std::move(description));
        d.intValue = value;
        return d;
    }
    static ParamDef real(std::string name, float min, float max, float value, std::string description,
                         bool internal = false) {
        ParamDef d = make(std::move(name), internal ? ParamInternalFloat : ParamFloat, min, max,
                          std::move(description));
        d.floatValue = value;
        return d;
    }
    // A string of at most `max` characters (a buffer of max + 1 bytes).
    static ParamDef string(std::string name, float min, float max, std::string_view value,
                           std::string description) {
        ParamDef d = make(std::move(name), ParamString, min, max, std::move(description));
        d.stringCapacity = static_cast<std::size_t>(max) + 1;
        d.setString(value);
        return d;
    }
    // An internal string in a buffer of `capacity` bytes.
    static ParamDef internalString(std::string name, std::size_t capacity, std::string_view value,
                                   std::string description) {
        ParamDef d = make(std::move(name), ParamInternalString, -1.0f, -1.0f, std::move(description));
        d.stringCapacity = capacity;
        d.setString(value);
        return d;
    }
    static ParamDef boolean(std::string name, bool value, std::string description, bool internal = false) {
        ParamDef d = make(std::move(name), internal ? ParamInternalBoolean : ParamBoolean,
                          internal ? -1.0f : 0.0f, internal ? -1.0f : 1.0f, std::move(description));
        d.boolValue = value;
        return d;
    }

private:
    static ParamDef make(std::string name, quint32 type, float min, float max, std::string description) {
        ParamDef d;
        d.name = std::move(name);
        d.type = type;
        d.min = min;
        d.max = max;
        d.description = std::move(description);
        return d;
    }
};
