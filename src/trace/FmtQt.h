#pragma once

#include <QByteArray>
#include <QString>
#include <fmt/format.h>

// Lets Qt strings take part in "{}" formatting (log and error texts) as UTF-8.
template <> struct fmt::formatter<QString> : fmt::formatter<fmt::string_view> {
    template <typename FormatContext> auto format(const QString& s, FormatContext& ctx) const {
        const QByteArray utf8 = s.toUtf8();
        return fmt::formatter<fmt::string_view>::format(fmt::string_view(utf8.constData(), utf8.size()), ctx);
    }
};

template <> struct fmt::formatter<QByteArray> : fmt::formatter<fmt::string_view> {
    template <typename FormatContext> auto format(const QByteArray& s, FormatContext& ctx) const {
        return fmt::formatter<fmt::string_view>::format(fmt::string_view(s.constData(), s.size()), ctx);
    }
};
