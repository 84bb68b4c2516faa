// The process-wide trace log: one line per step, stamped, to standard output, files and callbacks.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>

#include "trace/format_check.h"

constexpr unsigned kDefaultTraceLevel = 700;
constexpr unsigned kExtraFileLevel = 100; // result lines, which go to the extra files too

// Receives one message.
//   text     the message without its stamp and line end, of length bytes; valid during the call
//   context  the value registered with the sink
using TraceCallback = void (*)(const char* text, size_t length, void* context, unsigned level);

struct TraceSink {
    TraceCallback callback;
    void* context;
    int highestLevel; // lines above it are not delivered
};

// The order in which sinks get a line: by address, the same throughout a run.
struct TraceSinkOrder {
    bool operator()(const TraceSink& a, const TraceSink& b) const {
        const auto key = [](const TraceSink& sink) {
            return std::tuple(reinterpret_cast<std::uintptr_t>(sink.callback),
                              reinterpret_cast<std::uintptr_t>(sink.context), sink.highestLevel);
        };
        return key(a) < key(b);
    }
};

// The program itself writes to standard output only. The files and the callbacks are for code that wants the
// lines elsewhere, such as the tests.
class TraceLog {
  public:
    // Names the log file after the local time and the process, and reads "TraceEnable" once. When that is
    // set, the path of a log file is composed, but it is not kept and no file is opened.
    //   directory  not expanded; "." stands for the default directory
    //   prefix     of the file name
    TraceLog(const std::string& directory, const std::string& prefix);

    // Closes the files of the main set. Those of the extra set stay open to the end of the process.
    ~TraceLog();

    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // Turns the echo, a copy of every line on standard output, on or off. Turning it on also sets standard
    // output to binary mode; turning it off does not undo that.
    void SetConsoleEcho(bool on);

    // Composes the path of a log file; registers and opens nothing.
    std::string BuildTraceFilePath(const std::string& directory, const std::string& prefix);

    // Opens path for appending, creating it when missing, and adds it to the main set (every line) or the
    // extra set (result lines only). A path that the set has already is not opened again. Returns false when
    // the file cannot be opened, with the cause as the last error.
    bool AddFile(const std::string& path);
    bool AddExtraFile(const std::string& path);

    // Registers a callback, from the next line on.
    void AddSink(const TraceSink& sink);

    // Whether there is no main file, no echo and no sink; extra files alone do not count. Read without the
    // lock, so that a switched-off log costs next to nothing.
    bool IsOff() const { return mainFiles_.empty() && echo_ == 0 && sinks_.empty(); }

    // Writes one line. The format is a constant for the runtime's narrow printf functions and fits the
    // arguments. These functions refuse a wide text with a character beyond U+00FF, whatever the code page,
    // because the runtime's own locale has no byte for it. Such a message is written in UTF-8.
    // Failed writes are ignored. Throws std::runtime_error when a text cannot be converted.
    template <class... Args>
    void Write(unsigned level, CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
        if (!IsOff()) {
            WriteAny(level, format.text, args...);
        }
    }

  private:
    using FileSet = std::map<std::string, HANDLE>;

    void WriteAny(unsigned level, const char* format, ...);
    void WriteLocked(unsigned level, const char* format, va_list args);
    void Deliver(unsigned level, const std::string& line, size_t prefixLength);
    bool OpenInto(FileSet& files, const std::string& path);

    CRITICAL_SECTION lock_;
    std::string fileName_;
    std::string defaultDirectory_;
    BYTE echo_;
    FileSet mainFiles_;
    FileSet extraFiles_;
    std::set<TraceSink, TraceSinkOrder> sinks_;
};

// The log of the process; built before main runs. Null once it is destroyed, at the end of the process.
extern TraceLog* traceLog;

// Writes one line at the given level, see TraceLog::Write. Once the log is gone, the line is dropped.
template <class... Args>
void TraceAtLevel(unsigned level, CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
    if (traceLog != nullptr) {
        traceLog->Write<Args...>(level, format, args...);
    }
}

// Writes one line at the default level.
template <class... Args> void Trace(CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
    TraceAtLevel<Args...>(kDefaultTraceLevel, format, args...);
}
