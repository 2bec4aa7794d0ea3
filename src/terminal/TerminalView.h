#pragma once

#include "terminal/AnsiText.h"

#include <QPlainTextEdit>

// The terminal's text area: every text received becomes a new paragraph, with its colour and
// column escape sequences applied rather than shown. A text that begins with a backspace (a
// download percentage) redraws the last paragraph in place, and a text that only hides or shows
// the cursor adds nothing. Light text on a dark background, fixed-width
// font, so that the columns of the help listing line up.
class TerminalView : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit TerminalView(QWidget* parent = nullptr);

    // The view's colour for an SGR code (0: default text colour).
    static QColor colourOf(int sgr);

public slots:
    void appendTerminalText(const QByteArray& text);
    // Empties the view, scroll-back included, and forgets the colour in force.
    void clearTerminal();

private:
    AnsiText m_ansi;
    bool m_empty = true;
    AnsiLine m_lastLine; // the last paragraph as shown, for redrawing it in place
};
