#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;

// "KelvoApp Login": the operator's name and e-mail, stored as typed.
class DlgLogin : public QDialog {
    Q_OBJECT
public:
    explicit DlgLogin(QWidget* parent = nullptr);

    // Fills the fields from the settings and shows the dialog, modal but without blocking.
    void open() override;

    QLineEdit* edName;
    QLineEdit* edEmail;
    QPushButton* btSignIn;

Q_SIGNALS:
    // After the name and e-mail were stored.
    void signedIn();

private Q_SLOTS:
    void on_btSignIn_clicked();
};
