#include "params/TableText.h"

#include <QTableWidget>

QString table_widget_text(const QTableWidget* table) {
    QString out;
    for (int r = 0; r < table->rowCount(); ++r) {
        for (int c = 0; c < table->columnCount(); ++c) {
            if (c > 0) {
                out += QLatin1Char('\t');
            }
            if (const QTableWidgetItem* item = table->item(r, c)) {
                out += item->text();
            }
        }
        out += QLatin1Char('\n');
    }
    return out;
}
