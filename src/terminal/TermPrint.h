#pragma once

#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>

// Output of the terminal commands and of the parameter and timetable conversions.
//
// A text is formatted with printf rules into a bounded buffer, loses one trailing "\n" and goes
// to the current sink: the terminal view, the standard output of `kelvo`, or, when no sink is
// installed, the application trace log under the module "term_print". Callable from any thread;
// a sink is called outside the internal lock, so it may itself call term_print.

// Size of the formatting buffer: a longer text is cut to kTermPrintBufferSize - 1 bytes.
inline constexpr std::size_t kTermPrintBufferSize = 128000;

using TermPrintSink = std::function<void(const std::string& text)>;

void term_print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void vterm_print(const char* format, va_list args);

// Installs `sink` (an empty function restores the trace log) and returns the previous one.
TermPrintSink set_term_print_sink(TermPrintSink sink);

// Installs a sink for the lifetime of the object and restores the previous one afterwards.
class ScopedTermPrintSink {
public:
    explicit ScopedTermPrintSink(TermPrintSink sink)
        : m_previous(set_term_print_sink(std::move(sink))) {}
    ~ScopedTermPrintSink() { set_term_print_sink(std::move(m_previous)); }
    ScopedTermPrintSink(const ScopedTermPrintSink&) = delete;
    ScopedTermPrintSink& operator=(const ScopedTermPrintSink&) = delete;

private:
    TermPrintSink m_previous;
};
