// The files of the trace log. Apart from the rest of it, so that a program which adds none cannot open a file for writing.
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
