/// From the bytes of an XML file to UTF-8.
#pragma once

#include <string>

#include "formats/ImportNotes.h"

namespace kxo {

/// The text of an XML file in UTF-8, without a byte order mark. The encoding is that of the byte
/// order mark, else the one that the XML declaration names, else UTF-8; Windows-1252 where the file
/// names a subset of it, as browsers do. What names nothing and is not UTF-8 is in the code page
/// that the user chose, else taken for Windows-1252, which is noted. Throws a Failure that names
/// the file and the place.
std::string XmlToUtf8(const std::string& name, const std::string& bytes, ImportNotes& notes);

/// The same of a file that names no encoding. Null characters are refused.
std::string PlainToUtf8(const std::string& name, const std::string& bytes, ImportNotes& notes);

/// Refuses null characters, references to what is no character, and references that XML does not
/// define: a parser would cut the text at the first, and keep the last as plain text. Throws a
/// Failure as above.
void CheckCharacters(const std::string& name, const std::string& utf8);

}  // namespace kxo
