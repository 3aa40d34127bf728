// The fields of an outline's shared and private headers.

#include "World.h"

namespace kx_operations {

namespace {

using kx_gen::_String;

struct Field {
  const char* name;
  void (*set)(Outline& db, Words& words);
  std::string (*get)(Outline& db);
};

std::string numbering(Outline& db) {
  unsigned char ten[kx_gen::format::kNumberingSize] = {};
  db.getNumbering(ten);
  return hex(Bytes(ten, ten + sizeof(ten)));
}

void setNumbering(Outline& db, Words& words) {
  Bytes ten = words.bytes();
  ten.resize(kx_gen::format::kNumberingSize);
  db.setNumbering(ten.data());
}

template <class Get>
std::string textOf(Get get) {
  _String text;
  get(text);
  return shown(text);
}

std::string truth(bool on) { return on ? "on" : "off"; }

const Field kFields[] = {
    {"category", [](Outline& db, Words& words) { db.SetCategoryName(words.text().c_str()); },
     [](Outline& db) { return textOf([&](_String& text) { db.GetCategoryName(text); }); }},
    {"match-name",
     [](Outline& db, Words& words) {
       db.GetSharedHeaderPtr()->SetPalmMatchName(words.text().c_str());
     },
     [](Outline& db) {
       return textOf([&](_String& text) { db.GetSharedHeaderPtr()->GetPalmMatchName(text); });
     }},
    {"private", [](Outline& db, Words& words) { db.SetPrivate(words.truth()); },
     [](Outline& db) { return truth(db.GetPrivate()); }},
    {"synchronized", [](Outline& db, Words& words) { db.SetSynchronized(words.truth()); },
     [](Outline& db) { return truth(db.GetSynchronized()); }},
    {"outline-changed", [](Outline& db, Words& words) { db.SetOutlineChanged(words.truth()); },
     [](Outline& db) { return truth(db.GetOutlineChanged()); }},
    {"numbering", setNumbering, numbering},
    {"divider",
     [](Outline& db, Words& words) { db.setNumberingDivider(words.as<unsigned short>()); },
     [](Outline& db) { return std::to_string(db.getNumberingDivider()); }},
    {"title", [](Outline& db, Words& words) { db.SetOutlineTitle(words.text().c_str()); },
     [](Outline& db) { return textOf([&](_String& text) { db.GetOutlineTitle(text); }); }},
    {"face",
     [](Outline& db, Words& words) {
       db.GetPrivateOutlineHeaderPtr()->SetFontName(words.text().c_str());
     },
     [](Outline& db) {
       return textOf([&](_String& text) { db.GetPrivateOutlineHeaderPtr()->GetFontName(text); });
     }},
    {"show-checked",
     [](Outline& db, Words& words) { db.SetShowCheckedItems(words.as<unsigned char>()); },
     [](Outline& db) { return std::to_string(db.GetShowCheckedItems()); }},
    {"headings",
     [](Outline& db, Words& words) { db.SetShowHeadingsMode(words.as<unsigned char>()); },
     [](Outline& db) { return std::to_string(db.GetShowHeadingsMode()); }},
    {"selected", [](Outline& db, Words& words) { db.SetSelectedIndex(words.as<unsigned long>()); },
     [](Outline& db) { return std::to_string(db.GetSelectedIndex()); }},
    {"top", [](Outline& db, Words& words) { db.SetTopIndex(words.as<unsigned long>()); },
     [](Outline& db) { return std::to_string(db.GetTopIndex()); }},
};

void setField(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  const std::string name = words.word();
  for (const Field& field : kFields) {
    if (name != field.name) continue;
    field.set(db, words);
    return;
  }
  throw ScriptError("no such field: " + name);
}

// --- Font and window ---

void setFont(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  LOGFONTW font = {};
  font.lfHeight = words.as<LONG>();
  font.lfWidth = words.as<LONG>();
  font.lfEscapement = words.as<LONG>();
  font.lfOrientation = words.as<LONG>();
  font.lfWeight = words.as<LONG>();
  font.lfItalic = words.as<BYTE>();
  font.lfCharSet = words.as<BYTE>();
  font.lfPitchAndFamily = words.as<BYTE>();
  db.SetOutlineFont(font, words.as<unsigned long>());
}

std::string font(Outline& db) {
  LOGFONTW font = {};
  unsigned long color = 0;
  db.GetOutlineFont(font, &color);
  std::string all;
  for (const long value :
       {static_cast<long>(font.lfHeight), static_cast<long>(font.lfWidth),
        static_cast<long>(font.lfEscapement), static_cast<long>(font.lfOrientation),
        static_cast<long>(font.lfWeight), static_cast<long>(font.lfItalic),
        static_cast<long>(font.lfCharSet), static_cast<long>(font.lfPitchAndFamily)}) {
    all += std::to_string(value) + " ";
  }
  return all + std::to_string(color);
}

void setWindow(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  WINDOWPLACEMENT placement = {};
  placement.flags = words.as<UINT>();
  placement.showCmd = words.as<UINT>();
  for (LONG* value : {&placement.ptMinPosition.x, &placement.ptMinPosition.y,
                      &placement.ptMaxPosition.x, &placement.ptMaxPosition.y,
                      &placement.rcNormalPosition.left, &placement.rcNormalPosition.top,
                      &placement.rcNormalPosition.right, &placement.rcNormalPosition.bottom}) {
    *value = words.as<LONG>();
  }
  db.SetOutlineWindowPos(placement);
}

std::string window(Outline& db) {
  WINDOWPLACEMENT placement = {};
  db.GetOutlineWindowPos(placement);
  std::string all = std::to_string(placement.flags) + " " + std::to_string(placement.showCmd);
  for (const LONG value :
       {placement.ptMinPosition.x, placement.ptMinPosition.y, placement.ptMaxPosition.x,
        placement.ptMaxPosition.y, placement.rcNormalPosition.left, placement.rcNormalPosition.top,
        placement.rcNormalPosition.right, placement.rcNormalPosition.bottom}) {
    all += " " + std::to_string(value);
  }
  return all;
}

// --- What was changed ---

struct Change {
  const char* name;
  void (kx_gen::COutlineDB::*set)(bool on);
  bool (kx_gen::COutlineDB::*get)();
};
constexpr Change kChanges[] = {
    {"category", &Outline::SetCategoryChanged, &Outline::GetCategoryChanged},
    {"private", &Outline::SetPrivateTagChanged, &Outline::GetPrivateTagChanged},
    {"numbering", &Outline::setNumberingChanged, &Outline::getNumberingChanged},
    {"divider", &Outline::setNumberingDividerChanged, &Outline::getNumberingDividerChanged},
    {"show-checked", &Outline::setCheckedItemsChanged, &Outline::ShowCheckedItemsChanged},
};

void markField(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  const std::string name = words.word();
  for (const Change& change : kChanges) {
    if (name != change.name) continue;
    (db.*change.set)(words.truth());
    world.tell((db.*change.get)());
    return;
  }
  throw ScriptError("no such field: " + name);
}

void tellFields(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  for (const Field& field : kFields) {
    world.tellLine(std::string(field.name) + " " + field.get(db));
  }
  world.tellLine("font " + font(db));
  world.tellLine("window " + window(db));
  std::string changed = "changed:";
  for (const Change& change : kChanges) {
    if ((db.*change.get)()) changed += std::string(" ") + change.name;
  }
  world.tellLine(changed);
}

// --- Two outlines ---

void copyHeaders(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  auto& other = world.databaseOf<Outline>(words);
  db.copySharedHeader(&other);
  db.copyPrivateHeader(&other);
}

void compareHeaders(World& world, Words& words) {
  auto& db = world.databaseOf<Outline>(words);
  auto& other = world.databaseOf<Outline>(words);
  world.tell(db.compareSharedHeader(&other));
  world.tell(db.comparePrivateHeader(&other));
}

}  // namespace

Operations headerOperations() {
  return {
      {"set", setField},
      {"font", setFont},
      {"window", setWindow},
      {"mark-field", markField},
      {"fields", tellFields},
      {"copy-headers", copyHeaders},
      {"compare-headers", compareHeaders},
  };
}

}  // namespace kx_operations
