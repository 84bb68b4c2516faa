// The last component of a path.
#pragma once

// Returns the part of the path after its last backslash; the whole path when it has none.
//   path  a string or a view of one, wide or in UTF-8; not in an ANSI code page, where a backslash can be the
//         second byte of a character
template <class Text> Text FileNameOf(const Text& path) {
    return path.substr(path.rfind('\\') + 1);
}
