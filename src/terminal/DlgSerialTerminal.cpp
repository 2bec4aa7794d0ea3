#include "terminal/DlgSerialTerminal.h"

#include "terminal/TerminalOutputRelay.h"
#include "terminal/TerminalView.h"
#include "terminal/TerminalWorker.h"
#include "terminal/VortOShell.h"

#include "app/AppSettings.h"

#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

DlgSerialTerminal::DlgSerialTerminal(QWidget* parent)
    : QDialog(parent)
    , m_shell(std::make_unique<VortOShell>()) {
    setWindowTitle(QStringLiteral("VortOS Terminal"));
    resize(900, 600);

    m_view = new TerminalView(this);
    m_view->setObjectName(QStringLiteral("Term"));

    auto* label = new QLabel(QStringLiteral("Command"), this);
    m_command = new QComboBox(this);
    m_command->setObjectName(QStringLiteral("edCommand"));
    m_command->setEditable(true);
    // The list is the history and the quick commands, filled by this window alone.
    m_command->setInsertPolicy(QComboBox::NoInsert);
    m_command->setMaxVisibleItems(15);
    m_command->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    fillCommandList();
    // The default completer writes its guess into the field, and Enter then runs the guess
    // ("hwconf" became "hwconf load"). This one only offers the known lines in a list; Enter runs
    // what was typed unless a line of the list was picked with the arrow keys or the mouse.
    auto* completer = new QCompleter(m_command->model(), m_command);
    completer->setCompletionMode(QCompleter::PopupCompletion);
    completer->setCaseSensitivity(Qt::CaseSensitive);
    m_command->setCompleter(completer);
    label->setBuddy(m_command);
    // Enter in the field sends the field's text as it stands; no button of the window is the
    // default one, so the key does not send twice.
    connect(m_command->lineEdit(), &QLineEdit::returnPressed, this,
            [this] { submit(m_command->lineEdit()->text()); });

    m_send = new QPushButton(QStringLiteral("Send"), this);
    m_send->setObjectName(QStringLiteral("BtSend"));
    m_send->setAutoDefault(false);
    auto* close = new QPushButton(QStringLiteral("Close"), this);
    close->setObjectName(QStringLiteral("btClose"));
    close->setAutoDefault(false);
    m_fileUpload = new QPushButton(QStringLiteral("File UpLoad"), this);
    m_fileUpload->setObjectName(QStringLiteral("btFileUpload"));
    m_fileUpload->setAutoDefault(false);
    // Opens the free-file programming page, which does not exist yet.
    m_fileUpload->setEnabled(false);
    m_fileUpload->setToolTip(QStringLiteral("Not available in this version"));
    m_readSerial = new QPushButton(QStringLiteral("Read Serial Port"), this);
    m_readSerial->setObjectName(QStringLiteral("btReadSerial"));
    m_readSerial->setAutoDefault(false);

    m_running = new QLabel(this);
    m_running->setObjectName(QStringLiteral("lblRunning"));
    m_activity = new QProgressBar(this);
    m_activity->setObjectName(QStringLiteral("pbRunning"));
    m_activity->setRange(0, 0);
    m_activity->setMaximumWidth(160);
    m_activity->setTextVisible(false);
    m_queued = new QLabel(this);
    m_queued->setObjectName(QStringLiteral("lblQueued"));
    m_queued->setWordWrap(true);
    m_running->hide();
    m_activity->hide();
    m_queued->hide();

    auto* commandRow = new QHBoxLayout;
    commandRow->addWidget(label);
    commandRow->addWidget(m_command, 1);
    commandRow->addWidget(m_send);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_readSerial);
    buttons->addWidget(m_fileUpload);
    buttons->addWidget(m_running);
    buttons->addWidget(m_activity);
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_view, 1);
    layout->addLayout(commandRow);
    layout->addWidget(m_queued);
    layout->addLayout(buttons);

    // The relay is deleted on the window's thread even when a printing thread drops it last.
    m_relay = std::shared_ptr<TerminalOutputRelay>(new TerminalOutputRelay,
                                                   [](TerminalOutputRelay* r) { r->deleteLater(); });
    connect(m_relay.get(), &TerminalOutputRelay::printed, m_view, &TerminalView::appendTerminalText,
            Qt::QueuedConnection);
    connect(m_relay.get(), &TerminalOutputRelay::clearRequested, m_view, &TerminalView::clearTerminal,
            Qt::QueuedConnection);
    std::weak_ptr<TerminalOutputRelay> relay = m_relay;
    m_shell->context().setClearView([relay] {
        if (auto r = relay.lock()) {
            r->clear();
        }
    });

    m_worker = new TerminalWorker(*m_shell);
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    connect(m_worker, &TerminalWorker::lineFinished, this, &DlgSerialTerminal::onWorkerDone);
    connect(m_worker, &TerminalWorker::readFinished, this, [this](int) { onWorkerDone(true); });
    m_thread.setObjectName(QStringLiteral("VortOS terminal"));
    m_thread.start();

    QMetaObject::connectSlotsByName(this);
}

DlgSerialTerminal::~DlgSerialTerminal() {
    if (m_sinkInstalled) {
        set_term_print_sink(std::move(m_previousSink));
    }
    // A command still running finishes first (its waits are bounded).
    m_thread.quit();
    m_thread.wait();
}

QStringList DlgSerialTerminal::quickCommands() {
    return {QStringLiteral("acqconf load 0"), QStringLiteral("hwconf load"), QStringLiteral("$USER;"),
            QStringLiteral("$start:ACQ_CTD;"), QStringLiteral("$stop;")};
}

void DlgSerialTerminal::fillCommandList() {
    QStringList items = AppSettings::terminalHistory();
    for (const QString& quick : quickCommands()) {
        if (!items.contains(quick)) {
            items << quick;
        }
    }
    const QString typed = m_command->currentText();
    m_command->clear();
    m_command->addItems(items);
    m_command->setCurrentIndex(-1);
    m_command->setEditText(typed);
}

void DlgSerialTerminal::setBusy(bool busy, const QString& what) {
    m_busy = busy;
    m_readSerial->setEnabled(!busy);
    m_running->setText(busy ? QStringLiteral("Running \"%1\"...").arg(what) : QString());
    m_running->setVisible(busy);
    m_activity->setVisible(busy);
}

void DlgSerialTerminal::showQueue() {
    QStringList shown;
    for (const QString& line : m_queue) {
        shown << QStringLiteral("\"%1\"").arg(line.trimmed().left(60));
    }
    m_queued->setText(QStringLiteral("Waiting to run: %1").arg(shown.join(QStringLiteral(", "))));
    m_queued->setVisible(!m_queue.isEmpty());
}

void DlgSerialTerminal::onWorkerDone(bool ok) {
    if (m_queue.isEmpty()) {
        setBusy(false);
    } else {
        const QString next = m_queue.takeFirst();
        showQueue();
        runNow(next);
    }
    emit commandFinished(ok);
}

void DlgSerialTerminal::on_BtSend_clicked() {
    submit(m_command->currentText());
}

void DlgSerialTerminal::submit(const QString& text) {
    // The field is emptied at once, so that the next line typed never joins this one.
    m_command->setEditText(QString());
    m_command->setFocus();
    if (!text.trimmed().isEmpty()) {
        AppSettings::addTerminalHistory(text.trimmed());
        // Enter is still being handled by the combo box and its completer, which hold indexes
        // of the list and write a line picked from it back into the field: the list is refilled
        // and that line taken out once they are done.
        QMetaObject::invokeMethod(
            this,
            [this, text] {
                if (m_command->currentText() == text) {
                    m_command->setEditText(QString());
                }
                fillCommandList();
            },
            Qt::QueuedConnection);
    }
    if (m_busy) {
        if (!text.trimmed().isEmpty()) {
            m_queue << text;
            showQueue();
        }
        return;
    }
    runNow(text);
}

void DlgSerialTerminal::runNow(const QString& text) {
    setBusy(true, text.trimmed().left(60));
    QMetaObject::invokeMethod(m_worker, "runLine", Qt::QueuedConnection, Q_ARG(QByteArray, text.toLatin1()),
                              Q_ARG(bool, true));
}

void DlgSerialTerminal::on_btReadSerial_clicked() {
    if (m_busy) {
        return;
    }
    setBusy(true, QStringLiteral("Read Serial Port"));
    QMetaObject::invokeMethod(m_worker, "readSerial", Qt::QueuedConnection);
}

void DlgSerialTerminal::on_btFileUpload_clicked() {
    // Wired to the free-file programming page once it exists; the button stays disabled until then.
}

void DlgSerialTerminal::on_btClose_clicked() {
    close();
}

void DlgSerialTerminal::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    m_command->setFocus();
    if (!m_sinkInstalled) {
        std::shared_ptr<TerminalOutputRelay> relay = m_relay;
        m_previousSink = set_term_print_sink([relay](const std::string& text) {
            relay->print(QByteArray(text.data(), static_cast<int>(text.size())));
        });
        m_sinkInstalled = true;
    }
}

void DlgSerialTerminal::hideEvent(QHideEvent* event) {
    if (m_sinkInstalled) {
        set_term_print_sink(std::move(m_previousSink));
        m_previousSink = TermPrintSink();
        m_sinkInstalled = false;
    }
    QDialog::hideEvent(event);
}

DlgSerialTerminal* open_terminal(QWidget* parent) {
    static QPointer<DlgSerialTerminal> dialog;
    if (dialog.isNull()) {
        dialog = new DlgSerialTerminal(parent);
    }
    dialog->setModal(false);
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    return dialog;
}
