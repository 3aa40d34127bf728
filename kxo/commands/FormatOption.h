/// The options that name a format.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <string>

#include "formats/Format.h"

namespace kxo {

/// `format` stays empty when the name of the file is to tell.
inline CLI::Option* AddToOption(CLI::App& command, std::string& format) {
  return command.add_option("--to", format, "The format to write")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(NamesOfWriters()));
}
inline CLI::Option* AddFromOption(CLI::App& command, std::string& format) {
  return command.add_option("--from", format, "The format to read; else IN's name tells")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(NamesOfReaders()));
}

}  // namespace kxo
