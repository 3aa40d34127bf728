/// Any picture in the one form that stored drawings can hold.
///
/// That form has an information header of 40 bytes with its image size set; 1, 4, 8 or 24 bits a
/// pixel; no compression; rows from the bottom up; and a full colour table, or none at 24 bits.
/// Pictures of 16 and 32 bits get 24, and lose their transparency. Colours that the table of a
/// picture lacks become black.
///
/// Read are pictures of 1, 4, 8, 16, 24 and 32 bits with any of the usual headers (of 12 bytes, and
/// of 16 to 124), run-length coded ones, and bit masks. Pixels that run-length coding leaves out
/// have colour 0.
#pragma once

#include <cstddef>

namespace kxo {

/// The picture of a BMP file. Returns a new memory handle, which the caller frees with MemFree, or
/// null when the bytes are no such picture or are cut short. Throws std::bad_alloc.
void* NormalizeBmp(const unsigned char* file, size_t size);

/// The same of a packed bitmap in a memory handle, which stays with the caller.
void* NormalizeDib(void* dib);

}  // namespace kxo
