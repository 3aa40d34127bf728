/// What is told of the headers of a file.
#pragma once

#include <string>
#include <vector>

#include "DatabaseFile.h"
#include "KX_FileIO.h"
#include "Listing.h"

namespace kxo {

/// A file that was read, and where it is told of.
struct ListedFile {
  kx_gen::CDatabase& db;
  std::string name;  ///< As messages call it.
  Listing& listing;
};

/// The fields of one header. A field that synchronisation has yet to see is marked as changed, and
/// one that the header does not have is said to be absent.
class HeaderListing {
 public:
  HeaderListing(const ListedFile& file, unsigned short id, kx_gen::CTaggedDataHeader& header)
      : file_(file), id_(id), header_(header) {}

  template <class Getter>
  void Add(const std::string& name, uint32_t tag, Getter getter) {
    known_.push_back(tag);
    InHeaderOf(file_.db, file_.name, id_, [&] {
      if (!header_.hasTag(tag)) {
        file_.listing.Add(name, {"absent", nullptr});
        return;
      }
      bool changed = false;
      header_.getTaggedDataManager().getTagChanged(tag, &changed);
      Value value = getter();
      if (changed) {
        value.text += "  (changed)";
        Json& fields = file_.listing.ForPrograms()["changedFields"];
        if (fields.is_null()) fields = Json::array();
        fields.push_back(ListingKey(name));
      }
      file_.listing.Add(name, value);
    });
  }
  /// The tags that have not been listed by name.
  void AddOthers();

 private:
  const ListedFile& file_;
  unsigned short id_;
  kx_gen::CTaggedDataHeader& header_;
  std::vector<uint32_t> known_;
};

/// Begins the section of a header. The fields of one that the file lacks are defaults.
void ListHeading(const ListedFile& file, unsigned short id, const std::string& title);
void ListConduit(const ListedFile& file);
/// Where each header stands, and how much of its slot it uses.
void ListSlots(const ListedFile& file);

}  // namespace kxo
