#pragma once

#include <QString>
#include <QStringList>
#include <QTableWidget>

#include <ostream>

// Readable failure messages for Qt strings.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QStringList& l, std::ostream* os) {
    *os << '{';
    for (const QString& s : l) {
        *os << '"' << s.toStdString() << "\" ";
    }
    *os << '}';
}

inline QStringList header_texts(const QTableWidget* t) {
    QStringList out;
    for (int c = 0; c < t->columnCount(); ++c) {
        out << t->horizontalHeaderItem(c)->text();
    }
    return out;
}

// The cells of row `r`, "<none>" for a cell without item.
inline QStringList row_texts(const QTableWidget* t, int r) {
    QStringList out;
    for (int c = 0; c < t->columnCount(); ++c) {
        out << (t->item(r, c) != nullptr ? t->item(r, c)->text() : QStringLiteral("<none>"));
    }
    return out;
}
