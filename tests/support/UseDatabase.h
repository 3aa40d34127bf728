/// Using all of a database as an application might: whatever it holds, each step ends well or with
/// one of the library's exceptions.
#pragma once

#include <stdexcept>

#include "KX_FileIO.h"

namespace kx_test {

/// Throws std::logic_error when the exception says nothing; releases it.
void examine(kx_gen::CException* thrown);

/// Runs a step. False when it threw one of the library's exceptions; others pass.
template <class Step>
bool attempt(Step step) {
  try {
    step();
    return true;
  } catch (kx_gen::CException* e) {
    examine(e);
    return false;
  }
}

/// Runs every one of these steps, whatever the ones before did.
template <class... Steps>
void attemptAll(Steps... steps) {
  (attempt(steps), ...);
}

/// Headers and rows of an open database.
void readAll(kx_gen::COutlineDB& db);
void readAll(kx_gen::CMemOutlDB& db);
void readAll(kx_gen::CCategoryDB& db);

/// Takes every value of every header and row, and changes most of them.
void useAndEdit(kx_gen::COutlineDB& db);
void useAndEdit(kx_gen::CMemOutlDB& db);
void useAndEdit(kx_gen::CCategoryDB& db);

/// Writes headers and rows and closes. False when a step threw.
bool saveAll(kx_gen::CDatabase& db);

}  // namespace kx_test
