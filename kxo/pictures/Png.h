/// PNG pictures, to and from bitmaps.
///
/// A bitmap in the form of NormalizeDib.h with 1, 4 or 8 bits a pixel becomes a PNG with a colour
/// table and the same bits, one of 24 bits a PNG of true colours: decoding it gives the same bitmap
/// again. (A reserved byte of a colour is not part of that form.)
///
/// The other way round, pictures with a colour table keep it, with 1, 4 or 8 bits; grey ones of up
/// to 8 bits get a table of greys; all others 24 bits. What is transparent shows white behind it.
#pragma once

#include <cstddef>
#include <string>

namespace kxo {

/// The PNG file of a packed bitmap in a memory handle, which stays with the caller: the same bytes
/// for the same bitmap. Bitmaps in another form are normalised first. Empty when the bitmap is no
/// picture or not whole. Throws std::bad_alloc, as the next does.
std::string EncodePng(void* dib);

/// The picture of a PNG file in the form of NormalizeDib.h. Returns a new memory handle, which the
/// caller frees with MemFree, or null when the bytes are no whole PNG file. Takes no memory for
/// sizes that as many bytes cannot hold.
void* DecodePng(const unsigned char* bytes, size_t size);

/// Whether the bytes begin as every PNG file does.
bool IsPng(const unsigned char* bytes, size_t size);

}  // namespace kxo
