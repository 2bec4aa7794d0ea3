#pragma once

#include <QMap>
#include <QMessageBox>
#include <QString>

#include <functional>

class QWidget;

// A message box as the program asks for it: what the user sees and may answer.
struct UiDialogRequest {
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons = QMessageBox::Ok;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    QMap<QMessageBox::StandardButton, QString> labels; // buttons with a text of their own
    QString detailText; // behind the box's "Show Details..." button; none when empty
};

enum class UiFileKind { ExistingDirectory, OpenFile, SaveFile };

// A file or folder dialog as the program asks for it.
struct UiFileRequest {
    UiFileKind kind = UiFileKind::OpenFile;
    QString caption;
    QString dir;
    QString filter;
};

// Every message box, question and file dialog of the program goes through here, so that the
// texts and default buttons are kept in one form and widget tests can answer them: with an
// answerer installed no dialog is shown and the answerer's reply is taken instead.
class UiDialogs {
public:
    using Answerer = std::function<QMessageBox::StandardButton(const UiDialogRequest&)>;
    using FileAnswerer = std::function<QString(const UiFileRequest&)>;

    // The window that message boxes use as parent when none is given.
    static void setMainWindow(QWidget* window);
    static QWidget* mainWindow();

    // Shows a modal box and returns the button pressed (Escape gives the Cancel/No button).
    static QMessageBox::StandardButton ask(QWidget* parent, const UiDialogRequest& request);

    static void information(QWidget* parent, const QString& title, const QString& text);
    static void warning(QWidget* parent, const QString& title, const QString& text);
    static void critical(QWidget* parent, const QString& title, const QString& text);
    static QMessageBox::StandardButton question(QWidget* parent, const QString& title, const QString& text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton);

    // Empty when the user cancels.
    static QString existingDirectory(QWidget* parent, const QString& caption, const QString& dir);
    static QString openFileName(QWidget* parent, const QString& caption, const QString& dir,
                                const QString& filter = QString());
    static QString saveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                const QString& filter = QString());

    // Test hooks: replace the dialogs by scripted answers (nullptr restores real dialogs).
    static void setAnswerer(Answerer answerer);
    static void setFileAnswerer(FileAnswerer answerer);
};
