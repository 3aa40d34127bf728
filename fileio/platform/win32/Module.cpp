#include "Module.h"

namespace {

HINSTANCE recordedModule = nullptr;

}  // namespace

HINSTANCE kx_GetModule() { return recordedModule; }

void kx_SetModule(HINSTANCE module) { recordedModule = module; }
