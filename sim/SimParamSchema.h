#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// The instrument's own view of its two parameter lists: what each positional field of a
// "$HWCONFset"/"$ACQCONFset" message must look like, and how the instrument writes the field
// back in its read answers. Internal fields are kept by the instrument and never set by a host.
struct SimField {
    enum Kind { Integer, Float, String, Boolean };
    const char* name;
    Kind kind;
    bool internal;
    double min; // value bound for numbers, length bound for strings
    double max;
    const char* defaultText;
};

class SimParamSchema {
public:
    static const std::vector<SimField>& hardware();    // 25 fields
    static const std::vector<SimField>& acquisition(); // 20 fields

    // Index of a field by name, -1 when absent.
    static int indexOf(const std::vector<SimField>& fields, const char* name);

    // Default values of every field (internal ones included), in table order.
    static QStringList defaults(const std::vector<SimField>& fields);

    // Checks one received field against its kind and bounds and writes the value as the
    // instrument reports it (integers "%d", floats "%f", booleans "1"/"0", strings as they are).
    // Returns false, leaving `out` alone, for a value the instrument refuses.
    static bool normalize(const SimField& field, const QString& text, QString* out);

    // Applies the editable fields of a set message to `stored` (all fields, internal included).
    // Nothing changes unless every field is accepted and the count is exact.
    static bool applySet(const std::vector<SimField>& fields, const QStringList& editable,
                         QStringList* stored);

    // Checks a complete field list (internal fields included), as loaded from a state file.
    static bool validateStored(const std::vector<SimField>& fields, const QStringList& stored);
};
