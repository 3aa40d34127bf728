/// What the library throws, as failures of the tool.
#pragma once

#include <memory>
#include <string>

#include "KX_FileIO.h"

namespace kxo {

/// The number of what is thrown for a memory outline of another version: one of its own.
constexpr unsigned long kMemoryVersionNumber = 21;

/// What the library threw, released with this: telling of it may run out of memory.
struct Releasing {
  void operator()(kx_gen::CException* e) const { e->Delete(); }
};
template <class Exception>
using Caught = std::unique_ptr<Exception, Releasing>;

/// A file that would have to be replaced stays where the user did not ask for that.
[[noreturn]] void FailForExisting(const std::string& name);
/// The system refused something for a file. Null, here and below, says that memory ran out.
[[noreturn]] void FailForFile(const std::string& name, const kx_gen::CFileException* e);
/// The contents of a file at `where` cannot be read.
[[noreturn]] void FailForContents(const std::string& name, const std::string& where,
                                  const kx_gen::CException* e);
/// A file cannot be written.
[[noreturn]] void FailForWriting(const std::string& name, const kx_gen::CException* e);

/// Runs a call that reads the file `name`. After a failure `where` is called with what was thrown
/// and gives the place in the file that was being read.
template <class Where, class Call>
auto WhileReading(const std::string& name, Where where, Call call) -> decltype(call()) {
  try {
    return call();
  } catch (kx_gen::CFileException* e) {
    const Caught<kx_gen::CFileException> caught(e);
    FailForFile(name, e);
  } catch (kx_gen::CException* e) {
    const Caught<kx_gen::CException> caught(e);
    FailForContents(name, e == nullptr ? std::string() : where(*e), e);
  }
}

/// Runs a call that writes the file `name`.
template <class Call>
auto WhileWriting(const std::string& name, Call call) -> decltype(call()) {
  try {
    return call();
  } catch (kx_gen::CFileException* e) {
    const Caught<kx_gen::CFileException> caught(e);
    FailForFile(name, e);
  } catch (kx_gen::CException* e) {
    const Caught<kx_gen::CException> caught(e);
    FailForWriting(name, e);
  }
}

}  // namespace kxo
