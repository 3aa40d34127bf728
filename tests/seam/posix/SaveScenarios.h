/// Documents on the disk and the saves that are to replace them, for tests that disturb a save: the
/// process killed, or the system refusing, at each of its calls.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Database.h"
#include "KxTest.h"

namespace kx_seam {

enum class Kind { kLargeOutline, kSmallOutline, kCategories, kMemoryOutline };

enum class Place {
  kAbsent,         ///< There is no old file.
  kPresent,        ///< There is one, which nobody has open.
  kOpen,           ///< The database that is saved has it open, for itself.
  kOpenAndShared,  ///< The same, while others might have it open, too.
  kThroughLink,    ///< A link in one folder leads to it in another.
  kOddPermissions,
  kBesideAbandoned,  ///< An earlier save left its new file in the folder.
};
constexpr Place kAllPlaces[] = {Place::kAbsent,         Place::kPresent,     Place::kOpen,
                                Place::kOpenAndShared,  Place::kThroughLink, Place::kOddPermissions,
                                Place::kBesideAbandoned};

struct Scenario {
  Kind kind;
  Place place;
};
std::ostream& operator<<(std::ostream& out, const Scenario& scenario);

/// A folder with a document as the scenario wants it.
class Stage {
 public:
  explicit Stage(const Scenario& scenario,
                 const std::filesystem::path& parent = std::filesystem::current_path());

  /// Makes the folder anew.
  void Reset() const;
  /// The database with the contents that are to be saved; opened, where the scenario says so.
  std::unique_ptr<kx_gen::CDatabase> MakeDatabase() const;
  void Save(kx_gen::CDatabase& db) const;

  bool IsOpenInIt() const;
  /// Whether the document is what it was before the save, or what the save makes of it.
  bool IsOld() const;
  bool IsNew() const;
  bool IsOldOrNew() const { return IsOld() || IsNew(); }
  /// Whether everything around the contents is as it was: the link, the permissions.
  bool IsKept() const;
  /// The files beside the document, in its own folder.
  size_t CountLeftovers() const;
  size_t GetNewSize() const { return new_.size(); }

 private:
  std::unique_ptr<kx_gen::CDatabase> MakeFilled(bool isNew) const;
  std::wstring NameToSave() const;
  bool Holds(const kx_test::Bytes& bytes) const;

  Scenario scenario_;
  std::filesystem::path folder_;
  std::filesystem::path file_;
  kx_test::Bytes old_;
  kx_test::Bytes new_;
};

}  // namespace kx_seam
