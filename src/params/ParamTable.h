#pragma once

#include "params/ParamDef.h"

#include <QString>

#include <string>
#include <vector>

// An ordered table of parameter records. The first record is the root: its name is the table's
// title and it holds no value. Order matters, since the wire form is positional; lookups by
// name are linear (tables hold a few dozen records).
class ParamTable {
public:
    using iterator = std::vector<ParamDef>::iterator;
    using const_iterator = std::vector<ParamDef>::const_iterator;

    void append(ParamDef record) { m_records.push_back(std::move(record)); }
    void clear() { m_records.clear(); }
    bool empty() const { return m_records.empty(); }
    int size() const { return static_cast<int>(m_records.size()); }

    ParamDef& operator[](int i) { return m_records[static_cast<std::size_t>(i)]; }
    const ParamDef& operator[](int i) const { return m_records[static_cast<std::size_t>(i)]; }

    iterator begin() { return m_records.begin(); }
    iterator end() { return m_records.end(); }
    const_iterator begin() const { return m_records.begin(); }
    const_iterator end() const { return m_records.end(); }

private:
    std::vector<ParamDef> m_records;
};

// The conversions below never throw on bad input: they print their warnings and errors through
// term_print and report failure by their result (-1, false or a non-empty error text). Values set
// before a failure stay in the table.

// Reads "name = value" lines; everything from the first "/" of a line is a comment. Returns the
// number of values set, or -1 (empty table, unreadable file, value out of range).
int get_params_from_file(const QString& path, ParamTable& table);

// Reads the instrument's answer: `prefix` is searched anywhere in `received`, then every
// non-root record, internal ones included, takes the next "," or ";" terminated field. Returns
// the number of fields consumed, or -1.
int get_params_from_string(const std::string& received, const std::string& prefix, ParamTable& table);

// Writes the commented parameter file (a template when the table holds its defaults).
bool write_params_to_file(const QString& path, const ParamTable& table);

// The set message body: `prefix`, then the editable values separated by ",", the last
// character removed. The caller appends ";".
std::string write_params_to_string(const std::string& prefix, const ParamTable& table);

// Prints the root name as a caption and one "name = value" line per record.
void print_params(const ParamTable& table);

// Value as shown in files, the terminal and the viewers ("ROOT", decimal, 3-decimal fixed,
// string, "true"/"false").
std::string param_value_text(const ParamDef& record);

// Value text of the first record called `name`, or "Missing parameter <name>".
std::string GetParamAsText(const ParamTable& table, const std::string& name);

// Sets the record called `name` from a text, with the bound checks of set_param_checked.
// Returns "" on success, otherwise the error text.
std::string SetParamFromText(ParamTable& table, const std::string& name, const std::string& text);

// Checked conversion of `text` into the record. Returns "" on success; on error the stored value
// is unchanged. Root and internal records accept anything without change.
std::string set_param_checked(ParamDef& record, const std::string& text);

// Value text of "Configuration_name", or "" when the table has no such record.
std::string param_config_name(const ParamTable& table);

// The first record called `name`, or table.end().
ParamTable::iterator find_param(const std::string& name, ParamTable& table);
ParamTable::const_iterator find_param(const std::string& name, const ParamTable& table);
