#include "terminal/TermPrint.h"

#include "trace/ZelTraceMgr.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace {

std::mutex& sink_mutex() {
    static std::mutex m;
    return m;
}

// Held by shared pointer so that a print in flight keeps its sink alive while another thread
// replaces it.
std::shared_ptr<const TermPrintSink>& current_sink() {
    static std::shared_ptr<const TermPrintSink> sink;
    return sink;
}

} // namespace

void vterm_print(const char* format, va_list args) {
    if (format == nullptr) {
        return;
    }
    // One buffer per thread: 128 kB is too much for the stack of a worker thread, and sharing a
    // buffer between threads would need the lock around the formatting.
    thread_local std::vector<char> buffer(kTermPrintBufferSize);
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(buffer.data(), buffer.size(), format, copy);
    va_end(copy);
    if (n < 0) {
        return;
    }
    std::size_t len = std::min<std::size_t>(static_cast<std::size_t>(n), kTermPrintBufferSize - 1);
    if (len > 0 && buffer[len - 1] == '\n') {
        --len;
    }
    std::string text(buffer.data(), len);

    std::shared_ptr<const TermPrintSink> sink;
    {
        std::lock_guard<std::mutex> lock(sink_mutex());
        sink = current_sink();
    }
    if (sink && *sink) {
        (*sink)(text);
    } else {
        GetTraceMgr()->log("term_print", ZelLevelInformation, "%s", text.c_str());
    }
}

void term_print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vterm_print(format, args);
    va_end(args);
}

TermPrintSink set_term_print_sink(TermPrintSink sink) {
    auto next = sink ? std::make_shared<const TermPrintSink>(std::move(sink)) : nullptr;
    std::lock_guard<std::mutex> lock(sink_mutex());
    std::shared_ptr<const TermPrintSink> previous = std::exchange(current_sink(), std::move(next));
    return previous ? *previous : TermPrintSink();
}
