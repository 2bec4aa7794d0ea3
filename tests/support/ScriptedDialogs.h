#pragma once

#include "app/UiDialogs.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace kelvotest {

// Answers the program's message boxes and file dialogs during a widget test. Each expected
// dialog is queued with its answer; a dialog nobody expected fails the test (and is answered
// with its default button). Every request is kept for inspection of titles, texts and buttons.
class ScriptedDialogs {
public:
    ScriptedDialogs() {
        UiDialogs::setAnswerer([this](const UiDialogRequest& r) {
            seen.push_back(r);
            if (answers.empty()) {
                ADD_FAILURE() << "unexpected dialog \"" << r.title.toStdString() << "\": " << r.text.toStdString();
                return r.defaultButton != QMessageBox::NoButton ? r.defaultButton : QMessageBox::Ok;
            }
            const QMessageBox::StandardButton a = answers.front();
            answers.pop_front();
            return a;
        });
        UiDialogs::setFileAnswerer([this](const UiFileRequest& r) {
            fileRequests.push_back(r);
            if (fileAnswers.empty()) {
                ADD_FAILURE() << "unexpected file dialog \"" << r.caption.toStdString() << "\"";
                return QString();
            }
            const QString a = fileAnswers.front();
            fileAnswers.pop_front();
            return a;
        });
    }
    ~ScriptedDialogs() {
        UiDialogs::setAnswerer(nullptr);
        UiDialogs::setFileAnswerer(nullptr);
    }
    ScriptedDialogs(const ScriptedDialogs&) = delete;
    ScriptedDialogs& operator=(const ScriptedDialogs&) = delete;

    void expect(QMessageBox::StandardButton answer) { answers.push_back(answer); }
    void expectFile(const QString& answer) { fileAnswers.push_back(answer); }

    std::deque<QMessageBox::StandardButton> answers;
    std::deque<QString> fileAnswers;
    std::vector<UiDialogRequest> seen;
    std::vector<UiFileRequest> fileRequests;
};

} // namespace kelvotest
