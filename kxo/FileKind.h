/// Which kind of file the user named, and what is said where a command is not for that kind.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "salvage/Fields.h"

namespace kxo {

/// Which kind of file the bytes look most like; of a damaged one, reading it as that kind tells
/// what is wrong. `name` is the file as messages call it. Never writes. Throws a Failure.
salvage::Kind KindOfFile(const std::string& name, const std::filesystem::path& file);
/// How programs are told of a kind: as in the JSON that carries everything.
std::string KeyOf(salvage::Kind kind);
/// With an article, as in "a category file".
std::string WordsFor(salvage::Kind kind);

/// The kind of a file of another one than this. What is damaged or no file of ours counts as this
/// one: opening it tells more of it.
std::optional<salvage::Kind> OtherKind(const std::string& name, const std::filesystem::path& file,
                                       salvage::Kind wanted);
/// Fails for a file that has one.
void CheckKind(const std::string& name, const std::filesystem::path& file, salvage::Kind wanted);
/// Fails for a file that is not of the kind that a command is for, and tells which commands are for
/// its own.
[[noreturn]] void FailForKind(const std::string& name, salvage::Kind kind, salvage::Kind wanted);

}  // namespace kxo
