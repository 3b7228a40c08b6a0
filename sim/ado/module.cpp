#include "ado/module.h"

#include <atomic>

namespace sim::ado {

namespace {

std::atomic<long> holds = 0;

} // namespace

ModuleHold::ModuleHold()
{
    Lock(true);
}

ModuleHold::~ModuleHold()
{
    Lock(false);
}

void ModuleHold::Lock(bool lock)
{
    holds += lock ? 1 : -1;
}

bool ModuleHold::IsFree()
{
    return holds == 0;
}

} // namespace sim::ado
