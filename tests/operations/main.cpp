// Runs a script of operations over the library in the current folder, which must be empty, and
// tells what each gives, which files there are in the end, and what the log says: the same on every
// system, to the byte.
//
// Usage: kx_operations SCRIPT

#include <cstdio>
#include <fstream>

#include "World.h"

namespace {

using kx_operations::Operation;
using kx_operations::ScriptError;
using kx_operations::shown;
using kx_operations::Words;
using kx_operations::World;
using OperationsByVerb = std::map<std::string, Operation>;

OperationsByVerb allOperations() {
  OperationsByVerb all;
  for (const kx_operations::Operations& some :
       {kx_operations::databaseOperations(), kx_operations::outlineOperations(),
        kx_operations::headerOperations(), kx_operations::categoryOperations(),
        kx_operations::flatOperations(), kx_operations::pictureOperations(),
        kx_operations::fileOperations(), kx_operations::textOperations()}) {
    for (const Operation& operation : some) {
      if (!all.emplace(operation.verb, operation).second) {
        throw ScriptError(std::string("two operations are called ") + operation.verb);
      }
    }
  }
  return all;
}

std::string kindOf(const kx_gen::CException& e) {
  const auto* file = dynamic_cast<const kx_gen::CFileException*>(&e);
  if (file != nullptr) {
    return "CFileException cause " + std::to_string(file->GetCause()) + " system error " +
           std::to_string(file->GetOsError()) + " " +
           (file->GetFileName() != nullptr ? shown(file->GetFileName()) : "no name");
  }
  return dynamic_cast<const kx_gen::CDBException*>(&e) != nullptr ? "CDBException" : "CException";
}

/// Runs one operation, and tells what the library throws in it.
void run(const Operation& operation, World& world, Words& words) {
  try {
    operation.run(world, words);
    if (!words.isAtEnd()) throw ScriptError("words are left over");
  } catch (kx_gen::CException* e) {
    world.tell("throws " + kindOf(*e) + " number " + std::to_string(e->GetErrNumber()) + " " +
               shown(e->GetDescription()));
    e->Delete();
  }
}

/// Runs every line; how many operations there were.
int runScript(std::istream& script) {
  const OperationsByVerb all = allOperations();
  World world;
  int count = 0;
  int number = 0;
  for (std::string line; std::getline(script, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    try {
      Words words(line);
      if (words.isAtEnd()) continue;
      const auto found = all.find(words.word());
      if (found == all.end()) throw ScriptError("no such operation");
      run(found->second, world, words);
    } catch (const ScriptError& e) {
      throw ScriptError("line " + std::to_string(number) + ": " + e.what() + ": " + line);
    }
    ++count;
    const std::string told = world.takeTold();
    if (!told.empty()) std::printf("%s ->%s\n", line.c_str(), told.c_str());
    std::fflush(stdout);  // what was done before a crash is seen
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kx_operations SCRIPT\n");
    return 2;
  }
  std::ifstream script(argv[1], std::ios::binary);
  try {
    if (!script) throw ScriptError(std::string("cannot read ") + argv[1]);
    const int count = runScript(script);
    std::printf("\n%d OPERATIONS\n", count);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kx_operations: %s\n", e.what());
    return 2;
  }
  kx_operations::printFiles();
  kx_operations::printLog();
  return 0;
}
