#pragma once

#include "FmtQt.h"
#include "ZelTraceMgrDispatcher.h"
#include "ZelTraceMgrMsg.h"

#include <cstdarg>
#include <string_view>
#include <utility>

// Handle of one trace manager (the application log or the serial log). Posting is safe from any
// thread and never touches the disk: the record is handed, queued, to the dispatcher's thread.
class ZelTraceMgr {
public:
    // Longest message kept; longer texts are cut, never rejected.
    static constexpr int kMaxMessageLength = 255;

    ZelTraceMgr();
    ~ZelTraceMgr();
    ZelTraceMgr(const ZelTraceMgr&) = delete;
    ZelTraceMgr& operator=(const ZelTraceMgr&) = delete;

    ZelTraceMgrDispatcher* GetDispatcher() const { return m_dispatcher; }

    // printf-style posting: log("MainWindow", ZelLevelInformation, "Started %s", what).
    void log(const char* module, quint32 level, const char* format, ...) const
        __attribute__((format(printf, 4, 5)));
    void vlog(const char* module, quint32 level, const char* format, va_list args) const;

    // "{}"-style posting: logf("MainWindow", ZelLevelInformation, "Open {}@{} {}", port, baud, "OK").
    template <typename... Args>
    void logf(const char* module, quint32 level, fmt::format_string<Args...> format, Args&&... args) const {
        post(module, level, fmt::format(format, std::forward<Args>(args)...));
    }

    // Posts an already formatted text (cut at 255 characters).
    void post(const char* module, quint32 level, std::string_view text) const;

private:
    ZelTraceMgrDispatcher* m_dispatcher;
};

// The application trace manager ("Kelvoapp.log" and the main window's log panel), created on
// first use.
ZelTraceMgr* GetTraceMgr();

// The serial trace manager ("Kelvoapp.serial.log" and the serial monitor window): the serial
// traffic and the serial layer's errors.
ZelTraceMgr* GetSerialTraceMgr();
