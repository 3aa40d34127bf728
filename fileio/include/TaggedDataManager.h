/// The tagged-data block in which every record and header keeps its fields.
#pragma once

#include <type_traits>

#include "BufferManager.h"
#include "KxFormat.h"
#include "KxLittleEndian.h"
#include "KxString.h"
#include "kx_assert.h"

namespace kx_gen {

/// Result codes of the tagged-data operations; 0 is success, -1 exhausted memory.
constexpr long kTagErrCorrupt = -4556;   ///< A tag without its code, or a string without its end.
constexpr long kTagErrNotFound = -4555;  ///< No tag with this id.
constexpr long kTagErrOverflow = -4554;  ///< The value is larger than the caller's buffer.

/// Edits a block of tagged values in place: entries of a 15-byte tag and its data, ids ascending,
/// nothing between them. Unknown entries are carried along untouched. Layout: KxFormat.h.
///
/// Operations answer with result codes and do not throw, but for `ProcessError`, and for
/// `std::bad_alloc` when there is no memory for a text. The block may hold
/// anything: an entry without the code answers `kTagErrCorrupt`; one that runs past the block ends
/// the walk, so that ids behind it are absent (setting one is -1), and is itself corrupt when its
/// value is wanted.
class KX_API CTaggedDataManager : public CBufferManager {
 public:
  static const unsigned short kTaggedDataCode = format::kTagCode;
  static const unsigned int kStringTagIDCode = format::kStringTagBase;
  static const unsigned int kEndOfStringLen = 0xFFFF;

#pragma pack(push, 1)
  /// A tag as it stands in front of its data.
  struct TagType {
    uint16_t code;
    uint8_t version;
    uint32_t flags;
    uint32_t id;
    uint32_t length;
  };
#pragma pack(pop)
  static_assert(sizeof(TagType) == format::kTagSize, "tags are packed");

  /// Over the block of `size` bytes at `*slot`, as `CBufferManager` takes it. `swap`: code, id and
  /// length stand in the other byte order than the library's; such a block is only walked.
  CTaggedDataManager(char** slot, unsigned long size, bool swap, unsigned long capacity,
                     unsigned long block);

  bool getSwap() const { return swap_; }

  // Ids are cut to 32 bits. `*found` may be null.
  long hasTag(unsigned long id, bool* found) const;
  long hasStringTag(unsigned char n, bool* found) const;
  /// Creates or replaces a value. `*changed` (may be null) tells whether the block was rewritten:
  /// it is not when the changed bit is clear and version, length and bytes are the same. Exhausted
  /// memory leaves the block as it was.
  long setData(unsigned long id, const void* data, unsigned long len, bool* changed,
               unsigned char version);
  /// Copies a value. `*len` is the room at `dst` on entry and the value's length afterwards; a
  /// value that does not fit is not copied. `version` may be null.
  long getData(unsigned long id, void* dst, unsigned long* len, unsigned char* version);
  /// The value inside the block, valid until the block changes; null when it is absent or has fewer
  /// than `len` bytes.
  char* getDataPtr(unsigned long id, unsigned long len);
  /// The length of a value; for an absent id that of the last tag looked at.
  long getTagDataSize(unsigned long id, unsigned long* len) const;
  long deleteData(unsigned long id);  ///< Removes tag and value; 0 also for an absent id.
  long getTagVersion(unsigned long id, unsigned char* version);
  // The changed bit of a tag, set by every write of its value.
  long setTagChanged(unsigned long id, bool changed);
  long getTagChanged(unsigned long id, bool* changed);

  // String tags: `n` is filed under `kStringTagIDCode` + n. Text is stored narrow, in the code page
  // of setNarrowCodePage() where that gives the same text back, else in UTF-8.
  long setString(unsigned char n, const wchar_t* text, bool* changed);  ///< Null means "".
  long getString(unsigned char n, _String& out);  ///< `out` is "" when the result is not 0.
  long deleteStringData(unsigned char n);
  long getStringTagVersion(unsigned char n, unsigned char* version);
  long setStringTagChanged(unsigned char n, bool changed);
  long getStringTagChanged(unsigned char n, bool* changed);

  /// Walks the block and asserts its order; reports once and stops.
  void Validate();

  /// Throws the `CException*` of a result code: message 15, 16 or 17 followed by the place. Any
  /// other code returns. A non-null `text` only suppresses loading the message.
  static void ProcessError(const char* file, unsigned long line, long code, const wchar_t* text);

  /// Stores a number as its little-endian image of sizeof(T) bytes; asserts that swap is off.
  template <class T>
  long setValue(unsigned long id, T value, bool* changed) {
    static_assert(std::is_integral<T>::value && sizeof(T) <= 4,
                  "values are at most 32-bit numbers");
    kx_Check(!swap_, "TaggedDataManager", kLineSetSwapped);
    unsigned char image[sizeof(T)];
    putLittleEndian(image, static_cast<uint64_t>(value), sizeof(T));
    return setData(id, image, sizeof(T), changed, 0);
  }

  /// Reads what `setValue` stores; a shorter value reads as if padded with zeros. `value` is 0 when
  /// the result is not.
  template <class T>
  long getValue(unsigned long id, T& value) {
    static_assert(std::is_integral<T>::value && sizeof(T) <= 4,
                  "values are at most 32-bit numbers");
    unsigned char image[sizeof(T)] = {};
    unsigned long len = sizeof(T);
    const long result = getData(id, image, &len, nullptr);
    kx_Check(!swap_, "TaggedDataManager", kLineGetSwapped);
    value = static_cast<T>(getLittleEndian(image, sizeof(T)));
    return result;
  }

 private:
  static constexpr int kLineSetSwapped = 61;
  static constexpr int kLineGetSwapped = 72;

  struct Place;
  uint64_t skipBelow(uint32_t id) const;
  bool isInOrder() const;
  long locate(uint32_t id, Place* place) const;
  long locateValue(uint32_t id, Place* place) const;
  bool differs(const Place& place, const void* data, unsigned long len,
               unsigned char version) const;
  long storeValue(const Place& place, uint32_t id, const void* data, unsigned long len,
                  unsigned char version);
  void tagImage(TagType tag, unsigned char* image) const;
  long findTag(unsigned long id, bool* found, unsigned long* pos, TagType* tag) const;
  long insertEmptyTag(unsigned long id, unsigned long pos);
  bool hasTagAt(unsigned long pos) const;
  void readTag(unsigned long pos, TagType* tag) const;
  void writeChangedTag(unsigned long pos, uint32_t id, unsigned long len, unsigned char version);
  void writeTag(unsigned long pos, const TagType& tag);
  void swapTag(TagType& tag) const;
  bool isValidTag(const TagType& tag) const { return tag.code == kTaggedDataCode; }

  bool swap_;
};

}  // namespace kx_gen
