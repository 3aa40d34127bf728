/// What kinds of files there are, and which fields their rows and headers have.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace kxo::salvage {

enum class Kind { kOutline, kMemory, kCategory };

std::string NameOf(Kind kind);  ///< "outline", "memory outline", "category file".
/// Of the word that stands for a kind on the command line; nothing for another word.
std::optional<Kind> KindOf(const std::string& word);

/// Whether the library reads files of this version as this kind.
bool IsVersionOf(Kind kind, uint16_t version);
uint16_t NewestVersion(Kind kind);
inline bool HasHeaders(Kind kind) { return kind != Kind::kMemory; }

enum class FieldType { kNumber, kText, kDrawing };

/// What a reader does without the field.
enum class Presence {
  kNeeded,    ///< It fails.
  kOptional,  ///< It asks first.
  kAdded,     ///< It adds the field with its default, as far as the block is sound.
};

struct Field {
  uint32_t tag;
  const char* name;
  FieldType type;
  uint32_t size;  ///< Of a number, in bytes: the most that a reader takes, and what writers write.
  Presence presence;
};

using Fields = std::span<const Field>;  ///< Ascending by tag.

Fields RowFields(Kind kind);
Fields HeaderFields(uint16_t header);
/// The slot size that the kind's files give this header; 0 for one that the kind does not know.
uint32_t HeaderSize(Kind kind, uint16_t header);
/// The headers that the kind knows.
std::span<const uint16_t> HeadersOf(Kind kind);
std::string NameOfHeader(uint16_t header);

const Field* FindField(Fields fields, uint32_t tag);
/// "text", or "tag 0x00010009" for a tag that is none of the fields.
std::string NameOfTag(Fields fields, uint32_t tag);

}  // namespace kxo::salvage
