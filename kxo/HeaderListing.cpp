#include "HeaderListing.h"

#include <algorithm>

#include "KxFormat.h"
#include "TagList.h"

namespace kxo {

namespace format = kx_gen::format;

using kx_gen::CTaggedDataHeader;

void HeaderListing::AddOthers() {
  const auto tags = ListTags(header_.GetHeaderDataPtr(), header_.getTaggedDataManager().size());
  for (const TagEntry& tag : tags) {
    if (std::find(known_.begin(), known_.end(), tag.id) == known_.end()) {
      const std::string name = "tag 0x" + Hex(tag.id, 8);
      file_.listing.Add(name, {ByteCount(tag.sizeBytes) + ", unknown here, kept", tag.sizeBytes});
    }
  }
}

void ListHeading(const ListedFile& file, unsigned short id, const std::string& title) {
  const auto& headers = file.db.GetHeaderManager().GetReadList();
  const bool inFile =
      std::any_of(headers.begin(), headers.end(),
                  [id](const kx_gen::THeaderInfo* info) { return info->record.id == id; });
  file.listing.Section(title, inFile ? "" : " (not in the file: defaults)");
  file.listing.ForPrograms()["inFile"] = inFile;
}

void ListConduit(const ListedFile& file) {
  CTaggedDataHeader& header = *file.db.GetConduitHeader();
  ListHeading(file, format::kConduitHeaderId, "Conduit header");
  if (header.getTaggedDataManager().size() == 0) file.listing.AddLine("fields", "none");
  HeaderListing(file, format::kConduitHeaderId, header).AddOthers();
}

namespace {

std::string HeaderName(unsigned short id) {
  switch (id) {
    case format::kConduitHeaderId:
      return "1 conduit";
    case format::kSharedHeaderId:
      return "2 shared";
    case format::kPrivateOutlineHeaderId:
      return "3 private";
    default:
      return std::to_string(id) + " unknown";
  }
}

}  // namespace

void ListSlots(const ListedFile& file) {
  Listing& listing = file.listing;
  listing.Section("Header slots");
  listing.ForPrograms() = Json::array();
  kx_gen::CHeaderManager& manager = file.db.GetHeaderManager();
  for (const kx_gen::THeaderInfo* info : manager.GetReadList()) {
    const unsigned short id = info->record.id;
    const uint32_t size = info->record.size;
    const unsigned long offset = manager.GetHeaderReadPos(id);
    Json slot = ObjectOf({{"id", id}, {"size", size}, {"offset", offset}});
    std::string use = "kept as it is";
    if (CTaggedDataHeader* header = manager.GetHeaderPtr(id)) {
      slot["used"] = header->getTaggedDataManager().size();
      use = Digits(header->getTaggedDataManager().size()) + " used";
    }
    listing.ForPrograms().push_back(slot);
    listing.AddLine(HeaderName(id),
                    ByteCount(size) + " from offset " + Digits(offset) + ", " + use);
  }
}

}  // namespace kxo
