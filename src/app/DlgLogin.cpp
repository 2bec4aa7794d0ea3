#include "DlgLogin.h"

#include "AppSettings.h"

#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

DlgLogin::DlgLogin(QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("DlgLogin"));
    setWindowTitle(QStringLiteral("KelvoApp Login"));
    edName = new QLineEdit(this);
    edName->setObjectName(QStringLiteral("edName"));
    edEmail = new QLineEdit(this);
    edEmail->setObjectName(QStringLiteral("edEmail"));
    btSignIn = new QPushButton(QStringLiteral("SIGN IN"), this);
    btSignIn->setObjectName(QStringLiteral("btSignIn"));
    btSignIn->setStatusTip(QStringLiteral("btBlue"));
    btSignIn->setDefault(true);
    btSignIn->setMinimumHeight(32);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Name (First  Last)"), edName);
    form->addRow(QStringLiteral("Email"), edEmail);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(btSignIn);
    setMinimumWidth(360);
    QMetaObject::connectSlotsByName(this);
}

void DlgLogin::open() {
    edName->setText(AppSettings::userName());
    edEmail->setText(AppSettings::userEmail());
    QDialog::open();
}

void DlgLogin::on_btSignIn_clicked() {
    AppSettings::setUser(edName->text(), edEmail->text());
    Q_EMIT signedIn();
    accept();
}
