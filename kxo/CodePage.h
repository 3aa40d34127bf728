/// The code page that the user names for texts that are not Unicode.
#pragma once

namespace kxo {

/// It holds for the whole run. False when the system knows no such code page.
bool ChooseCodePage(unsigned int codePage);
/// 0 when the user named none.
unsigned int ChosenCodePage();

}  // namespace kxo
