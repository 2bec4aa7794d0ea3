#pragma once

#include "support/LogCapture.h" // readable Qt strings in failure messages

#include <QTableWidget>

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
