#pragma once

#include <QDialog>
#include <QThread>

#include <memory>

#include "terminal/TermPrint.h"

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class TerminalOutputRelay;
class TerminalView;
class TerminalWorker;
class VortOShell;

// The VortOS terminal window, not modal: the dashboard, the log and the serial monitor stay
// usable beside it (the instrument lock keeps their exchanges apart). Lines typed in
// `edCommand` run on the terminal's own thread, one at a time: the window keeps painting and
// shows which command runs. A line sent while another runs waits in a visible queue. Every line
// run enters the history offered in the command box (newest first, before the quick commands),
// kept in the settings. While the window is shown, term_print writes into `Term`; once closed,
// into the trace log.
class DlgSerialTerminal : public QDialog {
    Q_OBJECT
public:
    explicit DlgSerialTerminal(QWidget* parent = nullptr);
    ~DlgSerialTerminal() override;

    // The five lines offered in the command box, in order.
    static QStringList quickCommands();

    VortOShell& shell() { return *m_shell; }
    TerminalView* view() const { return m_view; }
    // True while a command or a serial read runs.
    bool isBusy() const { return m_busy; }

public slots:
    void on_BtSend_clicked();
    void on_btClose_clicked();
    void on_btReadSerial_clicked();
    void on_btFileUpload_clicked();

signals:
    // A line or a serial read has finished (`ok` is the command's result).
    void commandFinished(bool ok);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    // Runs `text` now, or queues it behind the running command.
    void submit(const QString& text);
    void runNow(const QString& text);
    void setBusy(bool busy, const QString& what = QString());
    void showQueue();
    void onWorkerDone(bool ok);
    // The command box's list: the history, then the quick commands it does not hold.
    void fillCommandList();

    std::unique_ptr<VortOShell> m_shell;
    QThread m_thread;
    TerminalWorker* m_worker = nullptr;
    TerminalView* m_view = nullptr;
    QComboBox* m_command = nullptr;
    QPushButton* m_send = nullptr;
    QPushButton* m_readSerial = nullptr;
    QPushButton* m_fileUpload = nullptr;
    QLabel* m_running = nullptr;
    QLabel* m_queued = nullptr;
    QProgressBar* m_activity = nullptr;
    QStringList m_queue;
    bool m_busy = false;
    bool m_sinkInstalled = false;
    TermPrintSink m_previousSink;
    std::shared_ptr<TerminalOutputRelay> m_relay;
};

// Shows the application's terminal window (not modal) and brings it to the front; it is created
// on the first call and kept, with its text and command list, for the next ones.
DlgSerialTerminal* open_terminal(QWidget* parent);
