#include "UiDialogs.h"

#include <QFileDialog>
#include <QPointer>
#include <QPushButton>

namespace {

QPointer<QWidget>& main_window() {
    static QPointer<QWidget> window;
    return window;
}

UiDialogs::Answerer& answerer() {
    static UiDialogs::Answerer a;
    return a;
}

UiDialogs::FileAnswerer& file_answerer() {
    static UiDialogs::FileAnswerer a;
    return a;
}

QWidget* parent_or_main(QWidget* parent) {
    return parent ? parent : main_window().data();
}

} // namespace

void UiDialogs::setMainWindow(QWidget* window) {
    main_window() = window;
}

QWidget* UiDialogs::mainWindow() {
    return main_window().data();
}

void UiDialogs::setAnswerer(Answerer a) {
    answerer() = std::move(a);
}

void UiDialogs::setFileAnswerer(FileAnswerer a) {
    file_answerer() = std::move(a);
}

QMessageBox::StandardButton UiDialogs::ask(QWidget* parent, const UiDialogRequest& request) {
    if (answerer()) {
        return answerer()(request);
    }
    QMessageBox box(request.icon, request.title, request.text, request.buttons, parent_or_main(parent));
    for (auto it = request.labels.cbegin(); it != request.labels.cend(); ++it) {
        if (QAbstractButton* b = box.button(it.key())) {
            b->setText(it.value());
        }
    }
    if (!request.detailText.isEmpty()) {
        box.setDetailedText(request.detailText);
    }
    if (request.defaultButton != QMessageBox::NoButton) {
        box.setDefaultButton(request.defaultButton);
    }
    return static_cast<QMessageBox::StandardButton>(box.exec());
}

void UiDialogs::information(QWidget* parent, const QString& title, const QString& text) {
    ask(parent, {QMessageBox::Information, title, text, QMessageBox::Ok, QMessageBox::Ok, {}, {}});
}

void UiDialogs::warning(QWidget* parent, const QString& title, const QString& text) {
    ask(parent, {QMessageBox::Warning, title, text, QMessageBox::Ok, QMessageBox::Ok, {}, {}});
}

void UiDialogs::critical(QWidget* parent, const QString& title, const QString& text) {
    ask(parent, {QMessageBox::Critical, title, text, QMessageBox::Ok, QMessageBox::Ok, {}, {}});
}

QMessageBox::StandardButton UiDialogs::question(QWidget* parent, const QString& title, const QString& text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton) {
    return ask(parent, {QMessageBox::Question, title, text, buttons, defaultButton, {}, {}});
}

QString UiDialogs::existingDirectory(QWidget* parent, const QString& caption, const QString& dir) {
    if (file_answerer()) {
        return file_answerer()({UiFileKind::ExistingDirectory, caption, dir, QString()});
    }
    return QFileDialog::getExistingDirectory(parent_or_main(parent), caption, dir);
}

QString UiDialogs::openFileName(QWidget* parent, const QString& caption, const QString& dir,
                                const QString& filter) {
    if (file_answerer()) {
        return file_answerer()({UiFileKind::OpenFile, caption, dir, filter});
    }
    return QFileDialog::getOpenFileName(parent_or_main(parent), caption, dir, filter);
}

QString UiDialogs::saveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                const QString& filter) {
    if (file_answerer()) {
        return file_answerer()({UiFileKind::SaveFile, caption, dir, filter});
    }
    return QFileDialog::getSaveFileName(parent_or_main(parent), caption, dir, filter);
}
