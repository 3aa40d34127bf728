/// The option that says what kind of file a damaged one is.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <string>

namespace kxo {

/// `kind` stays empty when the file itself is to tell.
inline void AddKindOption(CLI::App& command, std::string& kind) {
  command.add_option("--kind", kind, "Read it as one of this kind; else the kind is guessed")
      ->type_name("KIND")
      ->check(CLI::IsMember({"outline", "memory", "category"}));
}

}  // namespace kxo
