// Tests as text: a file of steps, each with the output expected of it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

// Runs each line of a file as a step, unless it is empty, a comment (#) or one of these, about the last step's output:
//   | TEXT                 the output is exactly these lines
//   has TEXT, lacks TEXT   a part of the output
//   exit CODE              the exit code of the last program
//   there PATH, gone PATH  a file, or pattern, whatever the output
// A step gets its first word and the rest, and returns its output.
void RunTextCase(const std::string& path, const std::function<std::string(std::string, std::string)>& step);

// The names of the files or folders that match, up to their first point.
std::vector<std::string> NamesIn(const std::string& pattern);

// The builds of the executable in the sandbox, by the names of their folders.
std::vector<std::string> Builds();
