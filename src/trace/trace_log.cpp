// Formatting, stamping and delivery of trace lines.
#include "trace/trace_log.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "common/text_conversion.h"
#include "trace/lock_guard.h"

namespace {

constexpr size_t kPrefixRoom = 42; // the stamp, the line feed and a terminator

// The key remains open for the life of the process. The type of the value does not matter: a value of at most
// four bytes that are not all zero counts as enabled.
bool ReadTraceEnable() {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Wow6432Node\\Brennick\\Norvane", 0, KEY_READ, &key) !=
        ERROR_SUCCESS) {
        return false;
    }
    DWORD value = 0;
    DWORD size = sizeof(value);
    return RegQueryValueExA(key, "TraceEnable", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size) ==
               ERROR_SUCCESS &&
           value != 0;
}

std::string MakeFileName() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char name[64];
    _snprintf(name, sizeof(name), "%04i-%02i-%02i %02i-%02i-%02i (pid %03i).log", now.wYear, now.wMonth,
              now.wDay, now.wHour, now.wMinute, now.wSecond, static_cast<int>(GetCurrentProcessId()));
    return name;
}

// Returns the length of the stamp written to buffer, which has kPrefixRoom characters.
size_t WritePrefix(char* buffer) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return static_cast<size_t>(_snprintf(
        buffer, kPrefixRoom, "%03i:%04x %02i:%02i:%02i.%03i ", static_cast<int>(GetCurrentProcessId()),
        static_cast<unsigned>(GetCurrentThreadId()), now.wHour, now.wMinute, now.wSecond, now.wMilliseconds));
}

// Writes the whole line with one call to the descriptor of standard output. The buffer of the stream would
// split a long line into several writes, and its contents would be lost when the process is terminated. A
// process without standard output has no descriptor; nothing is written then.
void WriteToStandardOutput(const std::string& line) {
    const int descriptor = _fileno(stdout);
    if (descriptor >= 0) {
        (void)_write(descriptor, line.data(), static_cast<unsigned>(line.size()));
    }
}

void AppendToFile(HANDLE file, const std::string& line) {
    SetFilePointer(file, 0, nullptr, FILE_END);
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

struct ProcessLog {
    TraceLog log{"%TEMP%", "norvane"};

    ProcessLog() { traceLog = &log; }
    // Runs before the log itself is destroyed. Lines that other globals write afterwards are dropped.
    ~ProcessLog() { traceLog = nullptr; }
};

} // namespace

constinit TraceLog* traceLog = nullptr;

namespace {

ProcessLog processLog;

} // namespace

TraceLog::TraceLog(const std::string& directory, const std::string& prefix) {
    InitializeCriticalSection(&lock_);
    fileName_ = MakeFileName();
    echo_ = 0;
    defaultDirectory_ = ".";
    if (ReadTraceEnable()) {
        BuildTraceFilePath(directory, prefix);
    }
}

TraceLog::~TraceLog() {
    {
        const LockGuard guard(lock_);
        for (const auto& [path, file] : mainFiles_) {
            CloseHandle(file);
        }
    }
    DeleteCriticalSection(&lock_);
}

void TraceLog::SetConsoleEcho(bool on) {
    const LockGuard guard(lock_);
    if (on && _fileno(stdout) >= 0) {
        // Lines end with a line feed alone, also where the output is redirected.
        _setmode(_fileno(stdout), _O_BINARY);
    }
    echo_ = on ? 1 : 0;
}

std::string TraceLog::BuildTraceFilePath(const std::string& directory, const std::string& prefix) {
    const LockGuard guard(lock_);
    std::string path = directory == "." ? defaultDirectory_ : directory;
    if (path.empty()) {
        path = ".\\";
    } else if (!path.ends_with('\\')) {
        path += '\\';
    }
    return path + prefix + " " + fileName_;
}

void TraceLog::AddSink(const TraceSink& sink) {
    const LockGuard guard(lock_);
    sinks_.insert(sink);
}

// The format comes by pointer, because va_start must not receive a reference.
void TraceLog::Write(unsigned level, const trace_detail::TypedFormat* format, ...) {
    if (IsOff()) {
        return;
    }
    const LockGuard guard(lock_);
    if (IsOff()) {
        return;
    }
    va_list args;
    va_start(args, format);
    try {
        WriteLocked(level, *format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

void TraceLog::WriteLocked(unsigned level, const trace_detail::TypedFormat& format, va_list args) {
    va_list measured;
    va_copy(measured, args);
    const int length = _vscprintf(format.text, measured);
    va_end(measured);

    std::string line(kPrefixRoom + static_cast<size_t>(std::max(length, 0)), '\0');
    const size_t prefixLength = WritePrefix(line.data());
    if (length >= 0) {
        _vsnprintf(line.data() + prefixLength, line.size() - prefixLength, format.text, args);
        line.resize(prefixLength + static_cast<size_t>(length));
    } else {
        line.resize(prefixLength);
        line += conv_wchar_to_utf8(trace_detail::WideMessage(format, args).c_str());
    }
    line += '\n';
    Deliver(level, line, prefixLength);
}

void TraceLog::Deliver(unsigned level, const std::string& line, size_t prefixLength) {
    for (const auto& [path, file] : mainFiles_) {
        AppendToFile(file, line);
    }
    if (level == kExtraFileLevel) {
        for (const auto& [path, file] : extraFiles_) {
            AppendToFile(file, line);
        }
    }
    if (echo_ != 0) {
        WriteToStandardOutput(line);
    }
    if (sinks_.empty()) {
        return;
    }
    const std::string message = line.substr(prefixLength, line.size() - prefixLength - 1);
    for (const TraceSink& sink : sinks_) {
        if (std::cmp_greater_equal(sink.highestLevel, level) && sink.callback != nullptr) {
            sink.callback(message.c_str(), message.size(), sink.context, level);
        }
    }
}
