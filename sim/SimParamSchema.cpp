#include "SimParamSchema.h"

#include <QRegularExpression>

#include <cmath>

const std::vector<SimField>& SimParamSchema::hardware() {
    static const std::vector<SimField> fields = {
        {"Camera_ref", SimField::String, false, 1, 15, "UNDEFINED"},
        {"Acquisition_mode", SimField::Integer, false, 0, 2, "0"},
        {"Default_acquisition_configuration", SimField::String, false, 1, 15, "UNDEFINED"},
        {"Delay_after_power_up_on_time_mode", SimField::Integer, false, 0, 65535, "0"},
        {"Light_ref", SimField::String, false, 1, 15, "UNDEFINED"},
        {"Correction_table_activation", SimField::Integer, false, 0, 2, "0"},
        {"Time_between_lighting_power_up_and_trigger", SimField::Integer, false, 0, 1000, "150"},
        {"Time_between_lighting_trigger_and_acquisition", SimField::Integer, false, 0, 1000, "250"},
        {"Pressure_sensor_ref", SimField::String, false, 0, 15, ""},
        {"Pressure_offset", SimField::Float, false, -999, 999, "999.000000"},
        {"Storage_capacity", SimField::Integer, true, -1, -1, "-1"},
        {"Minimum_remaining_memory_for_thumbnail_saving", SimField::Integer, false, 0, 65535, "2000"},
        {"Baud_Rate", SimField::Integer, false, 0, 2, "2"},
        {"IP_adress", SimField::String, false, 7, 15, "192.168.0.128"},
        {"Black_level", SimField::Integer, false, 0, 4095, "0"},
        {"Shutter", SimField::Integer, false, 14, 60000000, "100"},
        {"Gain", SimField::Integer, false, 0, 48, "0"},
        {"Threshold", SimField::Integer, false, 0, 255, "3"},
        {"Aa", SimField::Float, false, 0, 1000000, "5380.100098"},
        {"Exp", SimField::Float, false, 0, 2, "1.000000"},
        {"Pixel_Size", SimField::Integer, false, 0, 1000, "73"},
        {"Image_volume", SimField::Float, false, 0, 10, "0.650000"},
        {"Calibration_date", SimField::String, false, 1, 15, "UNDEFINED"},
        {"Last_parameters_modification", SimField::String, true, 0, 15, ""},
        {"Operator_email", SimField::String, false, 1, 63, "UNDEFINED"},
    };
    return fields;
}

const std::vector<SimField>& SimParamSchema::acquisition() {
    static const std::vector<SimField> fields = {
        {"Configuration_name", SimField::String, false, 1, 15, "CONFNAME"},
        {"PT_mode", SimField::Integer, false, 0, 3, "1"},
        {"Acquisition_frequency", SimField::Float, false, 0.001, 50, "1.000000"},
        {"Frames_per_bloc", SimField::Integer, false, 1, 255, "10"},
        {"Blocs_per_PT", SimField::Integer, false, 1, 255, "1"},
        {"Pressure_for_auto_start", SimField::Integer, false, 0, 6000, "0"},
        {"Pressure_difference_for_auto_stop", SimField::Integer, false, 0, 6000, "0"},
        {"Result_sending", SimField::Boolean, false, 0, 1, "1"},
        {"Save_synthetic_data_for_delayed_request", SimField::Boolean, false, 0, 1, "0"},
        {"Limit_lpm_detection_size", SimField::Integer, false, 0, 65535, "100"},
        {"Save_images", SimField::Integer, false, 0, 3, "0"},
        {"Vignetting_lower_limit_size", SimField::Integer, false, 0, 65535, "1000"},
        {"Appendices_ratio", SimField::Float, false, 1, 3, "1.000000"},
        {"Interval_for_measuring_background_noise", SimField::Integer, false, 0, 255, "0"},
        {"Image_nb_for_smoothing", SimField::Integer, false, 1, 20, "10"},
        {"Analog_output_activation", SimField::Boolean, false, 0, 1, "0"},
        {"Gain_for_analog_out", SimField::Integer, false, 1, 65535, "1000"},
        {"Minimum_object_number", SimField::Integer, false, 0, 65535, "0"},
        {"Maximal_internal_temperature", SimField::Integer, false, 0, 255, "40"},
        {"Operator_email", SimField::String, false, 1, 63, "UNDEFINED"},
    };
    return fields;
}

int SimParamSchema::indexOf(const std::vector<SimField>& fields, const char* name) {
    for (size_t i = 0; i < fields.size(); ++i) {
        if (qstrcmp(fields[i].name, name) == 0) {
            return int(i);
        }
    }
    return -1;
}

QStringList SimParamSchema::defaults(const std::vector<SimField>& fields) {
    QStringList out;
    for (const SimField& f : fields) {
        out << QString::fromLatin1(f.defaultText);
    }
    return out;
}

bool SimParamSchema::normalize(const SimField& field, const QString& text, QString* out) {
    switch (field.kind) {
    case SimField::Integer: {
        static const QRegularExpression intRe(QStringLiteral("^[+-]?[0-9]{1,10}$"));
        if (!intRe.match(text).hasMatch()) {
            return false;
        }
        bool ok = false;
        const qlonglong v = text.toLongLong(&ok);
        if (!ok) {
            return false;
        }
        if (!field.internal && (v < qlonglong(field.min) || v > qlonglong(field.max))) {
            return false;
        }
        if (v < INT32_MIN || v > INT32_MAX) {
            return false;
        }
        *out = QString::number(v);
        return true;
    }
    case SimField::Float: {
        static const QRegularExpression floatRe(
            QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?$"));
        if (!floatRe.match(text).hasMatch()) {
            return false;
        }
        bool ok = false;
        // The instrument holds 32-bit floats, bounds included: compare them as such.
        const float v = text.toFloat(&ok);
        if (!ok || !std::isfinite(v)) {
            return false;
        }
        if (!field.internal &&
            (double(v) < double(float(field.min)) || double(v) > double(float(field.max)))) {
            return false;
        }
        *out = QString::asprintf("%f", double(v));
        return true;
    }
    case SimField::String: {
        for (const QChar c : text) {
            if (c.unicode() < 0x20 || c.unicode() > 0x7e || c == QLatin1Char(',') || c == QLatin1Char(';')) {
                return false;
            }
        }
        if (text.size() < int(field.min) || text.size() > int(field.max)) {
            return false;
        }
        *out = text;
        return true;
    }
    case SimField::Boolean:
        if (text == QLatin1String("1") || text == QLatin1String("true")) {
            *out = QStringLiteral("1");
            return true;
        }
        if (text == QLatin1String("0") || text == QLatin1String("false")) {
            *out = QStringLiteral("0");
            return true;
        }
        return false;
    }
    return false;
}

bool SimParamSchema::applySet(const std::vector<SimField>& fields, const QStringList& editable,
                              QStringList* stored) {
    QStringList next = *stored;
    int k = 0;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].internal) {
            continue;
        }
        if (k >= editable.size()) {
            return false;
        }
        QString value;
        if (!normalize(fields[i], editable[k++], &value)) {
            return false;
        }
        next[int(i)] = value;
    }
    if (k != editable.size()) {
        return false;
    }
    *stored = next;
    return true;
}

bool SimParamSchema::validateStored(const std::vector<SimField>& fields, const QStringList& stored) {
    if (stored.size() != int(fields.size())) {
        return false;
    }
    for (size_t i = 0; i < fields.size(); ++i) {
        QString value;
        if (!normalize(fields[i], stored[int(i)], &value)) {
            return false;
        }
    }
    return true;
}
