#include "ZelTraceMgr.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

// The message is kept as Latin-1 unless the poster handed valid UTF-8 (module names and texts
// from the parameter tables carry "µ"), in which case it is decoded as such.
QString decode_message(const char* text, int length) {
    bool ascii = true;
    for (int i = 0; i < length; ++i) {
        if (static_cast<unsigned char>(text[i]) >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii) {
        return QString::fromLatin1(text, length);
    }
    QTextCodec::ConverterState state;
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    const QString decoded = utf8->toUnicode(text, length, &state);
    if (state.invalidChars == 0 && state.remainingChars == 0) {
        return decoded;
    }
    return QString::fromLatin1(text, length);
}

// Cuts a text at 255 bytes without splitting a UTF-8 sequence.
int cut_length(std::string_view text) {
    if (text.size() <= static_cast<size_t>(ZelTraceMgr::kMaxMessageLength)) {
        return static_cast<int>(text.size());
    }
    int n = ZelTraceMgr::kMaxMessageLength;
    // Step back over continuation bytes when the cut falls inside a multi-byte character.
    int back = n;
    while (back > 0 && (static_cast<unsigned char>(text[back]) & 0xC0) == 0x80) {
        --back;
    }
    if (back < n && n - back < 4) {
        n = back;
    }
    return n;
}

// Local time of the post. Asking the system for local time costs microseconds per call (the
// time-zone rules are looked up each time), more than the rest of a post together, so the
// offset from UTC is looked up once a minute and applied to the cheap UTC clock. The minute and
// its offset travel packed in one atomic so that a reader never pairs a minute with another's
// offset.
QDateTime local_now() {
    static std::atomic<qint64> cache{-1};
    constexpr qint64 kOffsetBias = qint64(1) << 19; // offsets are within +/- 18 h
    const QDateTime utc = QDateTime::currentDateTimeUtc();
    const qint64 minute = utc.toMSecsSinceEpoch() / 60000;
    qint64 packed = cache.load(std::memory_order_relaxed);
    if (packed < 0 || (packed >> 20) != minute) {
        const int offset = utc.toLocalTime().offsetFromUtc();
        packed = (minute << 20) | (offset + kOffsetBias);
        cache.store(packed, std::memory_order_relaxed);
    }
    const int offset = static_cast<int>((packed & ((qint64(1) << 20) - 1)) - kOffsetBias);
    return utc.toOffsetFromUtc(offset);
}

} // namespace

ZelTraceMgr::ZelTraceMgr()
    : m_dispatcher(new ZelTraceMgrDispatcher) {}

// The process-wide managers are never destroyed, so records posted while the windows close are
// still delivered to whoever listens; their threads are stopped when the application ends.
ZelTraceMgr::~ZelTraceMgr() = default;

void ZelTraceMgr::log(const char* module, quint32 level, const char* format, ...) const {
    va_list args;
    va_start(args, format);
    vlog(module, level, format, args);
    va_end(args);
}

void ZelTraceMgr::vlog(const char* module, quint32 level, const char* format, va_list args) const {
    char buffer[kMaxMessageLength + 1];
    const int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    const size_t length = n < 0 ? 0 : std::min<size_t>(static_cast<size_t>(n), kMaxMessageLength);
    post(module, level, std::string_view(buffer, length));
}

void ZelTraceMgr::post(const char* module, quint32 level, std::string_view text) const {
    auto msg = QSharedPointer<ZelTraceMgrMsg>::create();
    msg->date = local_now();
    msg->level = level;
    msg->module = QString::fromUtf8(module ? module : "");
    msg->message = decode_message(text.data(), cut_length(text));
    Q_EMIT m_dispatcher->EnQueueNewMessage(msg);
}

namespace {

std::atomic<ZelTraceMgr*> g_appManager{nullptr};
std::atomic<ZelTraceMgr*> g_serialManager{nullptr};

// The process-wide managers live for the whole process, but their dispatcher threads must end
// before Qt's own globals are torn down: a thread still entering its event loop once the
// application object is gone warns, and that warning races the exit handlers and crashes the
// process. Hence the stop when the application object goes, and again at exit for programs
// that never made one. Records posted afterwards are dropped.
void stop_process_dispatchers() {
    for (std::atomic<ZelTraceMgr*>* slot : {&g_appManager, &g_serialManager}) {
        if (ZelTraceMgr* mgr = slot->load()) {
            mgr->GetDispatcher()->stopThread();
        }
    }
}

ZelTraceMgr* make_process_manager(std::atomic<ZelTraceMgr*>& slot) {
    static std::once_flag registered;
    std::call_once(registered, [] {
        qAddPostRoutine(stop_process_dispatchers);
        std::atexit(stop_process_dispatchers);
    });
    auto* mgr = new ZelTraceMgr;
    slot.store(mgr);
    return mgr;
}

} // namespace

ZelTraceMgr* GetTraceMgr() {
    static ZelTraceMgr* const mgr = make_process_manager(g_appManager);
    return mgr;
}

ZelTraceMgr* GetSerialTraceMgr() {
    static ZelTraceMgr* const mgr = make_process_manager(g_serialManager);
    return mgr;
}
