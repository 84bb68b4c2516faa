// The files of the trace log. They have a source file of their own, so that a program that adds no file does
// not import a function that opens files for writing.
#include "trace/lock_guard.h"
#include "trace/trace_log.h"

bool TraceLog::OpenInto(FileSet& files, const std::string& path) {
    const LockGuard guard(lock_);
    if (files.contains(path)) {
        return true;
    }
    // Shared for writing: one path can be in both sets.
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    files.emplace(path, file);
    return true;
}

bool TraceLog::AddFile(const std::string& path) {
    return OpenInto(mainFiles_, path);
}

bool TraceLog::AddExtraFile(const std::string& path) {
    return OpenInto(extraFiles_, path);
}
