/// The option for files from devices of other regions.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <string>

#include "CodePage.h"

namespace kxo {

/// Every command that reads documents has it. It holds for the whole run.
inline void AddCodePageOption(CLI::App& command) {
  const auto use = [](const std::string& number) {
    // Plain digits: what the conversion of a number takes besides differs among its versions.
    const bool isNumber = !number.empty() && number.size() <= 5 &&
                          number.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long page = isNumber ? std::stoul(number) : 0;
    if (page == 0 || !ChooseCodePage(static_cast<unsigned int>(page))) {
      throw CLI::ValidationError("--codepage: this system knows no code page " + number);
    }
  };
  command.add_option_function<std::string>(
      "--codepage", use, "Read texts in this code page, as devices elsewhere wrote them (1251)");
  command.get_option("--codepage")->type_name("N");
}

}  // namespace kxo
