#include "terminal/TerminalView.h"

#include <QFontDatabase>
#include <QScrollBar>
#include <QTextBlock>

TerminalView::TerminalView(QWidget* parent)
    : QPlainTextEdit(parent) {
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    QPalette p = palette();
    p.setColor(QPalette::Base, QColor(12, 12, 12));
    p.setColor(QPalette::Text, colourOf(0));
    setPalette(p);
}

QColor TerminalView::colourOf(int sgr) {
    switch (sgr) {
    case 30:
        return QColor(118, 118, 118); // black would vanish on the dark background
    case 31:
        return QColor(197, 15, 31);
    case 32:
        return QColor(19, 161, 14);
    case 33:
        return QColor(193, 156, 0);
    case 34:
        return QColor(0, 55, 218);
    case 35:
        return QColor(136, 23, 152);
    case 36:
        return QColor(58, 150, 221);
    case 37:
        return QColor(204, 204, 204);
    case 90:
        return QColor(118, 118, 118);
    case 91:
        return QColor(231, 72, 86);
    case 92:
        return QColor(22, 198, 12);
    case 93:
        return QColor(249, 241, 165);
    case 94:
        return QColor(59, 120, 255);
    case 95:
        return QColor(180, 0, 158);
    case 96:
        return QColor(97, 214, 214);
    case 97:
        return QColor(242, 242, 242);
    default:
        return QColor(204, 204, 204);
    }
}

void TerminalView::appendTerminalText(const QByteArray& text) {
    const std::string raw = text.toStdString();
    if (AnsiText::isCursorControlOnly(raw)) {
        return;
    }
    const bool inPlace = !m_empty && AnsiText::continuesLine(raw);
    const std::vector<AnsiLine> lines = inPlace ? m_ansi.parse(raw, m_lastLine) : m_ansi.parse(raw);
    QScrollBar* bar = verticalScrollBar();
    const bool atBottom = bar->value() >= bar->maximum() - 4;
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    bool first = true;
    for (const AnsiLine& line : lines) {
        if (first && inPlace) {
            cursor.movePosition(QTextCursor::StartOfBlock, QTextCursor::KeepAnchor);
            cursor.removeSelectedText();
        } else if (!m_empty) {
            cursor.insertBlock();
        }
        first = false;
        m_empty = false;
        for (const AnsiRun& run : line) {
            QTextCharFormat format;
            format.setForeground(colourOf(run.colour));
            cursor.insertText(QString::fromLatin1(run.text.data(), static_cast<int>(run.text.size())),
                              format);
        }
        m_lastLine = line;
    }
    cursor.endEditBlock();
    if (atBottom) {
        bar->setValue(bar->maximum());
    }
}

void TerminalView::clearTerminal() {
    clear();
    m_ansi.reset();
    m_empty = true;
    m_lastLine.clear();
}
