#pragma once

#include "ZelTraceMgrMsg.h"

#include <QSet>
#include <QTreeView>

class QStandardItemModel;
class ZelTraceMgrDispatcher;

// The log view: one row per record, newest on top, with the level's icon, the date, the module
// and the message. The date and module columns are as wide as their texts, never cut. It places itself in its
// parent (a layout without margins or spacing) and subscribes to the dispatcher; double-clicking a row shows
// the whole message in a box.
class ZelTraceMgrTreeView : public QTreeView {
    Q_OBJECT
public:
    enum Column { ColIcon = 0, ColDate = 1, ColModule = 2, ColMessage = 3 };

    ZelTraceMgrTreeView(ZelTraceMgrDispatcher* dispatcher, QWidget* parent);

    QStandardItemModel* traceModel() const { return m_model; }

public Q_SLOTS:
    void OnNewMessage(ZelTraceMgrMsgPtr msg);

private Q_SLOTS:
    void onDoubleClicked(const QModelIndex& index);

private:
    // Width of `text` in a cell, margins included.
    int textWidth(const QString& text) const;

    QStandardItemModel* m_model;
    QSet<QString> m_measuredModules;
};

// Makes the level icons (":ICON_ERROR", ":ICON_WARN", ":ICON_INFO", ":ICON_DEBUG") available;
// needed once by any program that shows them, since they live in a static library.
void zel_init_trace_icons();
