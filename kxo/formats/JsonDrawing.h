/// The picture of a stored drawing as a PNG, and back.
#pragma once

#include <string>

namespace kxo::json {

/// Empty when the block is damaged.
std::string PngOfBlock(const std::string& block);
/// Empty when the bytes are no PNG picture.
std::string BlockOfPng(const std::string& png);

}  // namespace kxo::json
