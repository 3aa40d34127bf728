#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Dib.h"
#include "Editing.h"
#include "Failure.h"
#include "InputDocument.h"
#include "InputFile.h"
#include "KxFormat.h"
#include "Output.h"
#include "OutputFile.h"
#include "RowChange.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "pictures/NormalizeDib.h"
#include "pictures/Png.h"
#include "pictures/Shrink.h"
#include "pictures/StoredDrawing.h"

namespace kxo {
namespace {

namespace format = kx_gen::format;

using kx_gen::COutlineRecord;
using Content = std::vector<unsigned char>;

std::string Named(size_t row) { return "item " + std::to_string(row + 1); }

// --- get ---

struct GetOptions {
  std::string file;
  std::string item;
  std::string out;
  std::string format;
  bool force = false;
};

constexpr const char* kPng = "png";
constexpr const char* kBmp = "bmp";

/// Standard output has no name that tells.
std::string FormatFor(const GetOptions& options) {
  if (!options.format.empty()) return options.format;
  if (options.out == kStandardStream) return kPng;
  const std::string extension = LowerCase(NameOf(PathOf(options.out).extension()));
  for (const char* format : {kPng, kBmp}) {
    if (extension == std::string(".") + format) return format;
  }
  throw Failure(
      kExitSystem,
      options.out + ": its name tells no format; end it in .png or .bmp, or add --format");
}

std::string EncodeBmp(void* dib) {
  constexpr unsigned int kGrowBytes = 1u << 16;
  kx_gen::MemFile file(kGrowBytes);
  if (kx_gen::SaveDIB(MemGetPtr(dib), file) == 0) throw std::bad_alloc();
  std::string bytes(file.GetLength(), '\0');
  file.Seek(0, 0);
  file.Read(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return bytes;
}

OwnedHandle StoredPicture(const std::string& file, const Outline& outline, size_t row) {
  const std::optional<kxo::Drawing>& drawing = outline.GetNodes()[row].item.drawing;
  if (!drawing) throw FileFailure(kExitFindings, file, Named(row) + " has no drawing");
  const Content block(drawing->block.begin(), drawing->block.end());
  OwnedHandle dib = DibOfBlock(block.data(), block.size());
  if (dib != nullptr) return dib;
  throw FileFailure(kExitDamaged, file, "the drawing of " + Named(row) + " is damaged",
                    "kxo check tells more");
}

OwnedHandle ReadDrawing(const Session& session, const GetOptions& options) {
  const InputPlace place(session, options.file);
  const Outline outline = place.ReadTree(place.LookForKind());
  const auto& nodes = outline.GetNodes();
  const auto idOf = [&nodes](size_t row) { return nodes[row].item.id; };
  const size_t row = FindItem({place.GetName(), nodes.size(), idOf}, options.item);
  return StoredPicture(place.GetName(), outline, row);
}

void RunGet(const Session& session, const GetOptions& options) {
  const bool isPng = FormatFor(options) == kPng;
  const bool isStandardOutput = options.out == kStandardStream;
  if (isStandardOutput && WritesToTerminal()) {
    throw Failure(kExitSystem, "standard output is a terminal; redirect it, or name a file");
  }
  if (!isStandardOutput) {
    CheckPlace(options.out, session.PlaceForFile(options.out), options.force);
  }
  const OwnedHandle dib = ReadDrawing(session, options);
  const std::string bytes = isPng ? EncodePng(dib.get()) : EncodeBmp(dib.get());
  if (isStandardOutput) return WriteData(bytes);
  WriteFile(options.out, session.PlaceForFile(options.out), bytes, options.force);
  const PictureSize size = SizeOfDib(dib.get());
  Say(options.out + ": written, " + std::to_string(size.width) + " by " +
      std::to_string(size.height) + " pixels");
}

void AddGet(CLI::App& drawing, ChosenCommand& chosen) {
  auto options = std::make_shared<GetOptions>();
  CLI::App* command = drawing.add_subcommand("get");
  command->description(
      std::string("Writes the drawing of an item as a picture file.\n\n"
                  "Examples:\n"
                  "  kxo drawing get plan.kxo 3 -o sketch.png\n"
                  "  kxo drawing get plan.kxo id:17 -o sketch.bmp --force\n"
                  "  kxo drawing get plan.kxo 3 -o - > sketch.png\n"
                  "  kxo drawing get - 3 -o - --format bmp < plan.kxo > a.bmp\n\n") +
      kItemHelp + "The exit code is 1 when the item has no drawing.\n");
  command->add_option("FILE", options->file, "The document; - is standard input")->required();
  command->add_option("ITEM", options->item, "The item")->required();
  command->add_option("-o,--output", options->out, "A .png or .bmp file; - is standard output")
      ->type_name("OUT")
      ->required();
  command
      ->add_option("--format", options->format,
                   "png or bmp; else OUT's name tells, and of standard output it is png")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({kPng, kBmp}));
  command->add_flag("--force", options->force, "Replace OUT if it exists");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunGet(session, *options); };
  });
}

// --- set ---

struct SetDrawingOptions {
  EditOptions edit;
  std::string item;
  std::string in;
  std::string max;
};

OwnedHandle ReadPicture(const Session& session, const std::string& name) {
  const Content bytes = ReadInput(session, name);
  const bool isPng = IsPng(bytes.data(), bytes.size());
  OwnedHandle dib(isPng ? DecodePng(bytes.data(), bytes.size())
                        : NormalizeBmp(bytes.data(), bytes.size()));
  if (dib != nullptr) return dib;
  throw FileFailure(kExitDamaged, InputName(name),
                    isPng ? "this PNG picture is damaged" : "this is no whole PNG or BMP picture",
                    "save it anew with another program");
}

/// "640x480"; nothing for what is no such size.
std::optional<PictureSize> SizeIn(const std::string& text) {
  const size_t cross = text.find_first_of("xX");
  if (cross == std::string::npos) return std::nullopt;
  const std::optional<uint32_t> width = NumberIn(text.substr(0, cross));
  const std::optional<uint32_t> height = NumberIn(text.substr(cross + 1));
  if (!width || !height || *width == 0 || *height == 0) return std::nullopt;
  return PictureSize{*width, *height};
}

OwnedHandle Fitted(OwnedHandle dib, const SetDrawingOptions& options) {
  if (options.max.empty()) return dib;
  const std::optional<PictureSize> most = SizeIn(options.max);
  if (!most) {
    throw Failure(kExitSystem, "--max " + options.max + ": this is no size; write it as 640x480");
  }
  const PictureSize whole = SizeOfDib(dib.get());
  const PictureSize size = FittedInto(whole, *most);
  if (size.width == whole.width && size.height == whole.height) return dib;
  OwnedHandle shrunk = Shrunk(dib.get(), size);
  if (shrunk != nullptr) return shrunk;
  throw FileFailure(kExitDamaged, InputName(options.in), "this picture is too large to be scaled",
                    "scale it with another program");
}

void StoreDrawing(COutlineRecord& row, const Content& block) {
  const long result = row.getTaggedDataManager().setData(
      format::kTagDrawing, block.data(), static_cast<unsigned long>(block.size()), nullptr, 0);
  if (result != 0) throw std::bad_alloc();
}

void RunSet(const Session& session, const SetDrawingOptions& options) {
  const OwnedHandle dib = Fitted(ReadPicture(session, options.in), options);
  const Content block = BlockOfDib(dib.get());
  if (block.empty()) throw std::bad_alloc();
  const PictureSize size = SizeOfDib(dib.get());
  Edit edit(session, options.edit);
  const size_t row = edit.Find(options.item);
  edit.ChangeRow(row, [&](COutlineRecord& record) {
    if (DrawingBlockOf(record) != block) StoreDrawing(record, block);
  });
  edit.Finish("set the drawing of " + Named(row) + ", " + std::to_string(size.width) + " by " +
                  std::to_string(size.height) + " pixels",
              {{"row", row + 1}, {"width", size.width}, {"height", size.height}});
}

void AddSetDrawing(CLI::App& drawing, ChosenCommand& chosen) {
  auto options = std::make_shared<SetDrawingOptions>();
  CLI::App* command = drawing.add_subcommand("set");
  command->description(
      std::string("Gives an item a drawing, in place of the one that it may have.\n\n"
                  "Examples:\n"
                  "  kxo drawing set plan.kxo 3 sketch.png\n"
                  "  kxo drawing set plan.kxo id:17 photo.bmp --max 240x320\n\n") +
      kItemHelp +
      "Pictures with a colour table or greys keep 1, 4 or 8 bits a pixel, others get 24. What\n"
      "is transparent becomes white.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("ITEM", options->item, "The item")->required();
  command->add_option("IN", options->in, "A PNG or BMP file; - is standard input")->required();
  command->add_option("--max", options->max, "Scale it down to this size, keeping its proportions")
      ->type_name("WxH");
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunSet(session, *options); };
  });
}

// --- remove ---

struct RemoveDrawingOptions {
  EditOptions edit;
  std::string item;
};

void RunRemove(const Session& session, const RemoveDrawingOptions& options) {
  Edit edit(session, options.edit);
  const size_t row = edit.Find(options.item);
  edit.ChangeRow(row, [](COutlineRecord& record) {
    if (record.HasDrawing()) record.DeleteBitmap();
  });
  edit.Finish("removed the drawing of " + Named(row), {{"row", row + 1}});
}

void AddRemoveDrawing(CLI::App& drawing, ChosenCommand& chosen) {
  auto options = std::make_shared<RemoveDrawingOptions>();
  CLI::App* command = drawing.add_subcommand("remove");
  command->description(std::string("Takes the drawing of an item away.\n\n"
                                   "Examples:\n"
                                   "  kxo drawing remove plan.kxo 3\n"
                                   "  kxo drawing remove plan.kxo id:17 --dry-run\n\n") +
                       kItemHelp);
  AddEditOptions(*command, options->edit);
  command->add_option("ITEM", options->item, "The item")->required();
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunRemove(session, *options); };
  });
}

}  // namespace

void AddDrawing(CLI::App& app, ChosenCommand& chosen) {
  CLI::App* drawing = app.add_subcommand("drawing");
  drawing->group("Commands");
  drawing->description(
      "Writes, sets and removes the drawings of items.\n\n"
      "Examples:\n"
      "  kxo drawing get plan.kxo 3 -o sketch.png\n"
      "  kxo drawing set plan.kxo 3 sketch.png --max 240x320\n"
      "  kxo drawing remove plan.kxo 3\n");
  drawing->require_subcommand(1);
  AddGet(*drawing, chosen);
  AddSetDrawing(*drawing, chosen);
  AddRemoveDrawing(*drawing, chosen);
}

}  // namespace kxo
