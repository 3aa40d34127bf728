/// How the program tells what it sees: text, bytes and files in one form on every system.
#pragma once

#include "Script.h"

namespace kx_operations {

/// In quotes; what is not plain ASCII as its UTF-16 units. A long text is told by its start, its
/// length and its checksum.
std::string shown(const std::wstring& text);
std::string hex(const Bytes& bytes);
/// Length and checksum of bytes that are too many to be shown.
std::string summary(const Bytes& bytes);
/// 64 hexadecimal digits.
std::string sha256(const Bytes& bytes);

/// A file of the current folder, through the library; empty when it cannot be read.
Bytes contentOf(const std::wstring& path);

/// Every file below the current folder, but for the log: name, size, checksum.
void printFiles();
/// The log: how many lines, their checksum, and the lines themselves. Line ends are those of text,
/// and the current folder is `<here>/`.
void printLog();

}  // namespace kx_operations
