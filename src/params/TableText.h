#pragma once

#include <QString>

class QTableWidget;

// The cells of a table as text for the clipboard: one line per row ended by "\n", cells
// separated by "\t" (empty cells stay empty, so columns keep lining up in a spreadsheet).
QString table_widget_text(const QTableWidget* table);
