// The encodings of texts that people save and paste.
#pragma once

#include <string>

// Decodes UTF-16 or UTF-8 with a byte order mark, UTF-8, or the OEM or ANSI code page, into UTF-8. Which code
// page it is follows from the bytes: letters are in different ranges. A text in UTF-16 ends at its first NUL.
std::string DecodeText(const std::string& bytes);
