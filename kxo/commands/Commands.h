/// The tool's commands, one file for each. A function here adds its command to the command line;
/// when the user asked for it, `chosen` afterwards holds what to run.
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "Session.h"

namespace kxo {

using ChosenCommand = std::function<void(const Session&)>;

void AddAdd(CLI::App& app, ChosenCommand& chosen);
void AddCategory(CLI::App& app, ChosenCommand& chosen);
void AddCheck(CLI::App& app, ChosenCommand& chosen);
void AddConvert(CLI::App& app, ChosenCommand& chosen);
void AddDrawing(CLI::App& app, ChosenCommand& chosen);
void AddExport(CLI::App& app, ChosenCommand& chosen);
void AddImport(CLI::App& app, ChosenCommand& chosen);
void AddInfo(CLI::App& app, ChosenCommand& chosen);
void AddList(CLI::App& app, ChosenCommand& chosen);
void AddMove(CLI::App& app, ChosenCommand& chosen);
void AddNew(CLI::App& app, ChosenCommand& chosen);
void AddRecover(CLI::App& app, ChosenCommand& chosen);
void AddRemove(CLI::App& app, ChosenCommand& chosen);
void AddSearch(CLI::App& app, ChosenCommand& chosen);
void AddSet(CLI::App& app, ChosenCommand& chosen);
void AddSetHeader(CLI::App& app, ChosenCommand& chosen);
void AddShow(CLI::App& app, ChosenCommand& chosen);

}  // namespace kxo
