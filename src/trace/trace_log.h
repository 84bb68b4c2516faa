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
#include "trace/wide_message.h"

constexpr unsigned kDefaultTraceLevel = 700;
constexpr unsigned kExtraFileLevel = 100; // result lines, which are also written to the extra files

// Receives one message.
//   text     the message without its stamp and line feed, length bytes long; valid during the call
//   context  the value registered with the sink
using TraceCallback = void (*)(const char* text, size_t length, void* context, unsigned level);

struct TraceSink {
    TraceCallback callback;
    void* context;
    int highestLevel; // lines of a higher level are not delivered
};

// The order in which the sinks receive a line: by address, constant during a run.
struct TraceSinkOrder {
    bool operator()(const TraceSink& a, const TraceSink& b) const {
        const auto key = [](const TraceSink& sink) {
            return std::tuple(reinterpret_cast<std::uintptr_t>(sink.callback),
                              reinterpret_cast<std::uintptr_t>(sink.context), sink.highestLevel);
        };
        return key(a) < key(b);
    }
};

// The program itself writes to standard output only. The files and the callbacks are for other users of the
// log, such as the tests.
class TraceLog {
  public:
    // Composes the name of the log file from the local time and the process id, and reads "TraceEnable" once.
    // When it is set, the path of the log file is composed, but the path is not kept and no file is opened.
    //   directory  not expanded; "." means the default directory
    //   prefix     the first word of the file name
    TraceLog(const std::string& directory, const std::string& prefix);

    // Closes the files of the main set. Those of the extra set remain open until the process ends.
    ~TraceLog();

    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // Turns the echo, a copy of every line on standard output, on or off. Turning it on also sets standard
    // output to binary mode; turning it off does not undo that.
    void SetConsoleEcho(bool on);

    // Composes the path of a log file; registers and opens nothing.
    std::string BuildTraceFilePath(const std::string& directory, const std::string& prefix);

    // Opens a file for appending, creates it when it is missing, and adds it to the main set (every line) or
    // to the extra set (result lines only). A path that is already in the set is not opened again. Returns
    // false when the file cannot be opened, with the cause as the last error.
    bool AddFile(const std::string& path);
    bool AddExtraFile(const std::string& path);

    // Registers a callback for all lines that follow.
    void AddSink(const TraceSink& sink);

    // Returns whether there is no main file, no echo and no sink; extra files do not count. It does not take
    // the lock, so that a call costs almost nothing while the log is off.
    bool IsOff() const { return mainFiles_.empty() && echo_ == 0 && sinks_.empty(); }

    // Writes one line at the given level. The format is a constant for the runtime's narrow printf functions
    // and fits the arguments. These functions refuse a wide text with a character beyond U+00FF, whatever the
    // code page, because the runtime's own locale has no byte for it. Such a message is written in UTF-8.
    // Failed writes are ignored. Throws std::runtime_error when a text cannot be converted.
    template <class... Args>
    void TraceAtLevel(unsigned level, CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
        using Types = trace_detail::TypesOf<trace_detail::KindOf<Args>()...>;
        const trace_detail::TypedFormat typed = {format.text, format.notes.Get(), &Types::kTypes};
        Write(level, &typed, args...);
    }

    // Writes one line at the default level.
    template <class... Args> void Trace(CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
        TraceAtLevel<Args...>(kDefaultTraceLevel, format, args...);
    }

  private:
    using FileSet = std::map<std::string, HANDLE>;

    void Write(unsigned level, const trace_detail::TypedFormat* format, ...);
    void WriteLocked(unsigned level, const trace_detail::TypedFormat& format, va_list args);
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

// The log of the process; constructed before main runs. Null after its destruction at the end of the process.
extern TraceLog* traceLog;

// Writes one line to the log of the process, see TraceLog::TraceAtLevel. The line is dropped when the log is
// destroyed already.
template <class... Args>
void TraceAtLevel(unsigned level, CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
    if (traceLog != nullptr) {
        traceLog->TraceAtLevel<Args...>(level, format, args...);
    }
}

// Writes one line at the default level to the log of the process.
template <class... Args> void Trace(CheckedFormat<std::type_identity_t<Args>...> format, Args... args) {
    TraceAtLevel<Args...>(kDefaultTraceLevel, format, args...);
}
