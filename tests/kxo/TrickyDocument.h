/// A document whose texts look like markup of every kind.
#pragma once

#include <string>
#include <vector>

#include "ToolTest.h"

namespace kxo_test {

/// Texts that a careless writer would lose something of.
const std::vector<std::wstring>& TrickyTexts();

/// Fills a document with them: each is an item's text and an item's note, at levels that go up and
/// down, and skip some where `maySkip`.
void FillTricky(kx_gen::COutlineDB& db, bool maySkip);

}  // namespace kxo_test
