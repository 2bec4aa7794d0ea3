#include "ZelTraceMgrTreeView.h"

#include "ZelTraceMgrDispatcher.h"
#include "app/UiDialogs.h"

#include <QHeaderView>
#include <QIcon>
#include <QStandardItemModel>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

// Outside any namespace, as the resource initialiser requires.
static void init_kelvo_icons_resource() {
    Q_INIT_RESOURCE(kelvo_icons);
}

void zel_init_trace_icons() {
    static const bool done = [] {
        init_kelvo_icons_resource();
        return true;
    }();
    (void)done;
}

namespace {

// One icon per level name, loaded once: a busy log adds many rows.
QIcon level_icon(quint32 level) {
    static QHash<QString, QIcon> cache;
    const QString name = zel_level_icon(level);
    auto it = cache.find(name);
    if (it == cache.end()) {
        it = cache.insert(name, QIcon(name));
    }
    return *it;
}

} // namespace

ZelTraceMgrTreeView::ZelTraceMgrTreeView(ZelTraceMgrDispatcher* dispatcher, QWidget* parent)
    : QTreeView(parent)
    , m_model(new QStandardItemModel(0, 4, this)) {
    zel_init_trace_icons();
    zel_register_trace_types();
    setObjectName(QStringLiteral("ZelTraceMgrTreeView"));
    m_model->setHorizontalHeaderLabels({QString(), tr("Date"), tr("Module"), tr("Message")});
    setModel(m_model);
    setRootIsDecorated(false);
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    header()->setMinimumSectionSize(16);
    setColumnWidth(ColIcon, 30);
    // The date is always as long as this one; the module column grows with the names it meets.
    setColumnWidth(ColDate, qMax(110, textWidth(QStringLiteral("28/08 23:59:59.999"))));
    setColumnWidth(ColModule, 100);
    header()->setStretchLastSection(true);

    if (parent) {
        auto* layout = qobject_cast<QBoxLayout*>(parent->layout());
        if (!layout && !parent->layout()) {
            layout = new QVBoxLayout(parent);
        }
        if (layout) {
            layout->setContentsMargins(0, 0, 0, 0);
            layout->setSpacing(0);
            layout->addWidget(this);
        }
    }
    if (dispatcher) {
        connect(dispatcher, &ZelTraceMgrDispatcher::NewMessage, this, &ZelTraceMgrTreeView::OnNewMessage,
                Qt::QueuedConnection);
    }
    connect(this, &QTreeView::doubleClicked, this, &ZelTraceMgrTreeView::onDoubleClicked);
}

void ZelTraceMgrTreeView::OnNewMessage(ZelTraceMgrMsgPtr msg) {
    if (!msg) {
        return;
    }
    auto* icon = new QStandardItem(level_icon(msg->level), QString());
    auto* date = new QStandardItem(msg->date.toString(QStringLiteral("dd/MM hh:mm:ss.zzz")));
    auto* module = new QStandardItem(msg->module);
    if (!m_measuredModules.contains(msg->module)) {
        m_measuredModules.insert(msg->module);
        const int width = textWidth(msg->module);
        if (width > columnWidth(ColModule)) {
            setColumnWidth(ColModule, width);
        }
    }
    auto* message = new QStandardItem(msg->message.trimmed());
    m_model->insertRow(0, {icon, date, module, message});
}

int ZelTraceMgrTreeView::textWidth(const QString& text) const {
    // The cell's own margins and a little air on each side.
    return fontMetrics().horizontalAdvance(text) + 2 * style()->pixelMetric(QStyle::PM_FocusFrameHMargin) +
           16;
}

void ZelTraceMgrTreeView::onDoubleClicked(const QModelIndex& index) {
    if (!index.isValid()) {
        return;
    }
    const QString text = m_model->index(index.row(), ColMessage).data().toString();
    UiDialogs::information(this, QStringLiteral("ZelTraceMgr Details"), text);
}
