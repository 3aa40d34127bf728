/// A command of the tool, run in this program as its main function runs it.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Apart.h"
#include "Environment.h"
#include "Operation.h"
#include "commands/Commands.h"

namespace kx_failing {

/// Files by their names, with the bytes that they hold.
using Files = std::map<std::string, kx_test::Bytes>;

/// What a command is to do, and how far it may get when it fails.
struct ToolTask {
  void (*add)(CLI::App& app, kxo::ChosenCommand& chosen) = nullptr;
  std::vector<std::string> words;  ///< Of the command line.
  Files files;                     ///< All that there are before it.
  int exitCode = 0;                ///< When nothing fails.
  /// A failure may come behind files that are written already.
  bool mayEndHalfway = false;
  /// It carries on past files that it cannot read or write, and names them.
  bool isOfMany = false;
  /// A library of others tells of its troubles, too.
  bool othersTalk = false;
  /// The file that is written ahead of all others; empty where there is no such order.
  std::string writtenFirst;
};

class ToolCommand : public Operation {
 public:
  explicit ToolCommand(ToolTask task);

  void Prepare() override;
  std::string Run() override;
  void CheckFiles(const Ending& ending, Cause cause, bool goesOn) override;
  void CheckEnd(int exitCode, bool goesOn) override;
  /// The tool catches everything itself.
  bool IsDocumented(const Ending& ending, Cause cause, long errorNumber) const override;

 private:
  void LeaveSession();
  void CheckDocuments(bool isDone, bool mayBeNew, bool goesOn) const;
  void CheckTold(Cause cause) const;
  void CheckData(bool isDone, Cause cause) const;
  void CheckFoldersOfItsOwn() const;
  bool IsDocumentedCode(Cause cause) const;

  std::filesystem::path home_;
  Environment environment_;
  ToolTask task_;
  CLI::App app_;
  kxo::ChosenCommand command_;
  // The files as a run finds them, and what an undisturbed one leaves behind.
  Files before_;
  Files made_;
  std::string data_;
  std::string toldWhenDone_;
  // What the last one does, and did.
  std::optional<Redirected> output_;
  std::optional<Redirected> errors_;
  int exitCode_ = 0;
  std::string printed_;
  std::string told_;
};

}  // namespace kx_failing
