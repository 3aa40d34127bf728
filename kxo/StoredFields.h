/// The fields of rows and headers as the model has them, read from the library's objects and put
/// into them. Nothing is lost on the way: what is read and put back gives the same block. All of
/// it throws what the library's accessors throw.
#pragma once

#include "KX_FileIO.h"
#include "Outline.h"
#include "salvage/Fields.h"

namespace kxo {

/// What becomes of fields that a row lacks.
enum class Lacking {
  kThrows,     ///< Message 16, as the library does.
  kIsDefault,  ///< They have the value of a new row.
};
Item ItemOf(kx_gen::COutlineRecord& row, unsigned& level, Lacking lacking);
Item ItemOf(kx_gen::CLinkedOutlRec& row, unsigned& level, Lacking lacking);
Category CategoryOf(kx_gen::CCategoryRecord& row, Lacking lacking);

// These fill rows as recordsets make them.
void FillRow(kx_gen::COutlineRecord& row, unsigned level, const Item& item);
void FillRow(kx_gen::CLinkedOutlRec& row, unsigned level, const Item& item);
void FillRow(kx_gen::CCategoryRecord& row, const Category& category);

// A field that the header lacks has its default.
SharedFields FieldsOf(kx_gen::CSharedHeader& header);
View ViewOf(kx_gen::CPrivateOutlineHeader& header, std::string& title);
Extras ExtrasOf(kx_gen::CConduitHeader& header);

// These fill headers as they are constructed.
void FillHeader(kx_gen::CSharedHeader& header, const SharedFields& fields);
void FillHeader(kx_gen::CPrivateOutlineHeader& header, const std::string& title, const View& view);
void FillHeader(kx_gen::CConduitHeader& header, const Extras& extras);

// The same with a block in place of a row or header. Fields that are lacking have their defaults.
Item ItemOfBlock(salvage::Kind kind, const std::string& block, unsigned& level);
std::string BlockOfItem(salvage::Kind kind, unsigned level, const Item& item);
Category CategoryOfBlock(const std::string& block);
std::string BlockOfCategory(const Category& category);
SharedFields SharedOfBlock(const std::string& block);
std::string BlockOfShared(const SharedFields& fields);
View ViewOfBlock(const std::string& block, std::string& title);
std::string BlockOfView(const std::string& title, const View& view);
Extras ConduitOfBlock(const std::string& block);
std::string BlockOfConduit(const Extras& extras);

/// The tags in a block, as far as it is sound.
std::vector<uint32_t> TagsIn(const std::string& block);

/// The headers that the file has and those that it gets when it is saved, but for what stands in
/// the known ones.
HeaderTable TableOf(kx_gen::CHeaderManager& manager, salvage::Kind kind);
/// Gives these headers to a manager that has read none. Ahead of `InitNewDatabase`.
void TakeTable(kx_gen::CHeaderManager& manager, const HeaderTable& headers);

/// The drawing in a stored block. Throws message 16 for one that is too short to be one.
Drawing DrawingOf(std::string block);

}  // namespace kxo
