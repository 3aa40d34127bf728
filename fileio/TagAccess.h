// Typed fields of a tagged block for the classes that throw: every result other than success goes
// to CTaggedDataManager::ProcessError under the accessor's own source and line.
#pragma once

#include "TaggedDataManager.h"

namespace kx_gen {

/// The name and line under which an accessor reports.
struct SourceLine {
  const char* file;
  int line;
};

inline void checkResult(long result, SourceLine where) {
  if (result == 0) return;
  CTaggedDataManager::ProcessError(where.file, static_cast<unsigned long>(where.line), result,
                                   nullptr);
}

template <class T>
T getNumber(CTaggedDataManager& tags, uint32_t id, SourceLine where) {
  T value = 0;
  checkResult(tags.getValue(id, value), where);
  return value;
}

template <class T>
void setNumber(CTaggedDataManager& tags, uint32_t id, T value, SourceLine where) {
  checkResult(tags.setValue(id, value, nullptr), where);
}

/// A truth value: one byte, true for any byte other than 0.
inline bool getTruth(CTaggedDataManager& tags, uint32_t id, SourceLine where) {
  return getNumber<uint8_t>(tags, id, where) != 0;
}

inline void setTruth(CTaggedDataManager& tags, uint32_t id, bool value, SourceLine where) {
  setNumber<uint8_t>(tags, id, value ? 1 : 0, where);
}

inline void getText(CTaggedDataManager& tags, uint8_t n, _String& text, SourceLine where) {
  checkResult(tags.getString(n, text), where);
}

inline void setText(CTaggedDataManager& tags, uint8_t n, const wchar_t* text, SourceLine where) {
  checkResult(tags.setString(n, text, nullptr), where);
}

inline void getBytes(CTaggedDataManager& tags, uint32_t id, unsigned char* dst, size_t size,
                     SourceLine where) {
  std::memset(dst, 0, size);
  auto len = static_cast<unsigned long>(size);
  checkResult(tags.getData(id, dst, &len, nullptr), where);
}

inline void setBytes(CTaggedDataManager& tags, uint32_t id, const unsigned char* src, size_t size,
                     SourceLine where) {
  checkResult(tags.setData(id, src, static_cast<unsigned long>(size), nullptr, 0), where);
}

inline bool isTagChanged(CTaggedDataManager& tags, uint32_t id, SourceLine where) {
  bool changed = false;
  checkResult(tags.getTagChanged(id, &changed), where);
  return changed;
}

inline void setTagChanged(CTaggedDataManager& tags, uint32_t id, bool changed, SourceLine where) {
  checkResult(tags.setTagChanged(id, changed), where);
}

inline bool isTagPresent(const CTaggedDataManager& tags, uint32_t id, SourceLine where) {
  bool found = false;
  checkResult(tags.hasTag(id, &found), where);
  return found;
}

inline void deleteTag(CTaggedDataManager& tags, uint32_t id, SourceLine where) {
  checkResult(tags.deleteData(id), where);
}

}  // namespace kx_gen
