// The lines of an output of Windows, as people paste it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A line that is not empty. Its texts are parts of the whole text.
struct ListedLine {
    int number;             // from 1
    bool hasLabel;          // whether it has a colon behind a text
    bool isLong;            // whether a console can have wrapped it
    std::string_view label; // the text before the colon; the whole line where there is none
    std::string_view value; // the text behind the colon
};

// Removes what pasting adds to a text: the marks of a quotation at the start of a line, no-break spaces in
// the place of blanks, blanks at the end of a line.
std::string Unpasted(const std::string& text);

// Takes a text apart, without the blanks around each part. Of several lines in a row without a label the last
// one stands for all, but rules, the lines above them, and what can continue a long line are kept.
std::vector<ListedLine> SplitLines(const std::string& text);

// Whether a line consists of at least ten dashes.
bool IsRule(std::string_view line);

// The widths at which a console can have wrapped the lines of a text, the most probable first.
std::vector<size_t> WidthsOf(const std::string& text);

// Joins the lines that a console of a width has wrapped. Each line keeps its number.
std::string JoinLines(const std::string& text, size_t width);

// The narrowest console whose wrapped lines are joined.
constexpr size_t kLeastWidth = 60;

// A text without the line breaks that a mail program puts in the place of a blank, or behind a hyphen. The
// lines keep their numbers.
std::string JoinWords(const std::string& text);
