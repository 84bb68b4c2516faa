// The trace log of the rehearsal, in the place of the one that writes: the linker takes these definitions, and leaves those of
// src/trace/trace_log.cpp in the library. Its lock is not made, so nothing here may call what the log does besides.
#include "foreseen_trace.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "names.h"
#include "trace/trace_log.h"
#include "trace/wide_format.h"

namespace {

std::vector<std::string> messages;
TraceLog keepingLog("", "");

} // namespace

TraceLog* traceLog = &keepingLog;

TraceLog::TraceLog(const std::string&, const std::string&) : lock_(), echo_(1) {}
TraceLog::~TraceLog() = default;

// As in the log that writes, a message that the narrow functions refuse takes the wide way.
void TraceLog::WriteAny(unsigned, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list measured;
    va_copy(measured, args);
    const int length = _vscprintf(format, measured);
    va_end(measured);
    if (length < 0) {
        messages.push_back(ToUtf8(FormatWide(format, args)));
    } else {
        std::string message(static_cast<size_t>(length) + 1, '\0'); // with the terminator
        _vsnprintf(message.data(), message.size(), format, args);
        messages.push_back(FromAnsi(message));
    }
    va_end(args);
}

std::vector<std::string> TakeForeseenTrace() {
    return std::exchange(messages, {});
}
