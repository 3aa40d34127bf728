#include "LibraryErrors.h"

#include "Failure.h"
#include "Text.h"

namespace kxo {

using kx_gen::CException;
using kx_gen::CFileException;

namespace {

constexpr const char* kTryACopy = "try an older copy of the file";
constexpr const char* kExists = "this file exists";
constexpr const char* kChooseOrForce = "choose another with -o, or replace it with --force";

/// The library's numbers are its message's identifier less one.
bool HasNumberOf(const CException& e, kx_gen::MessageId message) {
  return e.GetErrNumber() == message - 1;
}

std::string DescriptionOf(const CException& e) { return Trimmed(FromWide(e.GetDescription())); }

/// What to try with a file that is no document of this version; empty for others.
const char* AdviceForForeign(const CException& e) {
  if (HasNumberOf(e, kx_gen::kMsgCheckCode)) {
    return "name a .kxo document, or make one of this file with kxo import";
  }
  const bool isNewer =
      HasNumberOf(e, kx_gen::kMsgNewerVersion) || e.GetErrNumber() == kMemoryVersionNumber;
  return isNewer ? "read it with a newer kxo" : "";
}

/// The advice goes on behind it.
std::string WithoutStop(std::string sentence) {
  if (!sentence.empty() && (sentence.back() == '.' || sentence.back() == '!')) sentence.pop_back();
  return sentence;
}

/// A thrown null pointer says that memory ran out.
[[noreturn]] void FailForMemory(const std::string& name) {
  throw FileFailure(kExitSystem, name, "there is not enough memory for it");
}

struct Trouble {
  std::string wrong;
  const char* advice;
};

constexpr long kFileExists = 80;  // the system's error for a name that is taken

Trouble TroubleOf(const CFileException& e) {
  if (e.GetOsError() == kFileExists) return {kExists, kChooseOrForce};
  switch (e.GetCause()) {
    case CFileException::fileNotFound:
      return {"there is no such file", "check the name"};
    case CFileException::badPath:
      return {"the system does not take this path", "check the name"};
    case CFileException::accessDenied:
      return {"the system refuses access", "check the permissions of the file and its folder"};
    case CFileException::sharingViolation:
    case CFileException::lockViolation:
      return {"the file is in use by another program", "close it there and try again"};
    case CFileException::diskFull:
      return {"the disk is full", "make room and try again"};
    case CFileException::hardIO:
      return {"the device does not read or write it",
              "copy the file to another disk and try again"};
    default:
      return {DescriptionOf(e) + " (system error " + std::to_string(e.GetOsError()) + ")", ""};
  }
}

bool IsLocked(const CFileException& e) {
  return e.GetCause() == CFileException::sharingViolation ||
         e.GetCause() == CFileException::lockViolation;
}

}  // namespace

void FailForExisting(const std::string& name) {
  throw FileFailure(kExitSystem, name, kExists, kChooseOrForce);
}

void FailForFile(const std::string& name, const CFileException* e) {
  if (e == nullptr) FailForMemory(name);
  const Trouble trouble = TroubleOf(*e);
  throw FileFailure(IsLocked(*e) ? kExitLocked : kExitSystem, name, trouble.wrong, trouble.advice);
}

void FailForContents(const std::string& name, const std::string& where, const CException* e) {
  if (e == nullptr) FailForMemory(name);
  const bool noMemory = HasNumberOf(*e, kx_gen::kMsgOutOfMemory);
  const std::string foreign = AdviceForForeign(*e);
  const bool endsEarly = HasNumberOf(*e, kx_gen::kMsgReadError);
  const bool isRefused = HasNumberOf(*e, kx_gen::kMsgFileIo);  // going to a place in the file
  const std::string wrong = endsEarly ? "the file ends too early" : DescriptionOf(*e);
  if (noMemory) FailForMemory(name);
  if (isRefused) {
    throw FileFailure(kExitSystem, name, "the system does not read it at " + where,
                      "copy the file to another disk and try again");
  }
  if (!foreign.empty()) {
    throw FileFailure(kExitDamaged, name, "cannot be read at " + where + ": " + WithoutStop(wrong),
                      foreign);
  }
  throw FileFailure(kExitDamaged, name, "damaged at " + where + ": " + wrong, kTryACopy);
}

void FailForWriting(const std::string& name, const CException* e) {
  if (e == nullptr) FailForMemory(name);
  throw FileFailure(kExitSystem, name, "cannot be written: " + DescriptionOf(*e));
}

}  // namespace kxo
