#include "AppStyleSheet.h"

#include <QStringList>

namespace {

QString button_look(const QString& name, const QString& background, const QString& pressed) {
    const QString selector =
        QStringLiteral("QPushButton[statusTip=\"%1\"], QPushButton[accessibleDescription=\"%1\"]").arg(name);
    QStringList pressedSelector;
    for (const QString& part : selector.split(QStringLiteral(", "))) {
        pressedSelector << part + QStringLiteral(":pressed");
    }
    return QStringLiteral("%1 {\n"
                          "    background-color: %2;\n"
                          "    color: white;\n"
                          "    border: 1px solid rgba(0,0,0,0.21);\n"
                          "    border-bottom: 3px solid rgba(0,0,0,0.21);\n"
                          "    font: 14px \"Calibri\";\n"
                          "    padding: -3px;\n"
                          "}\n"
                          "%3 {\n"
                          "    background-color: %4;\n"
                          "    border: 1px solid rgba(0,0,0,0.51);\n"
                          "}\n")
        .arg(selector, background, pressedSelector.join(QStringLiteral(", ")), pressed);
}

} // namespace

QString kelvo_style_sheet() {
    return button_look(QStringLiteral("btBlue"), QStringLiteral("rgba(102,152,203,1)"),
                       QStringLiteral("rgba(92, 122, 163,1)")) +
           button_look(QStringLiteral("btGreen"), QStringLiteral("#43a047"), QStringLiteral("#1b5e20")) +
           button_look(QStringLiteral("btOrange"), QStringLiteral("#fb8c00"), QStringLiteral("#e65100"));
}
