// Memory that is never released, on purpose.
#pragma once

/// Says that `memory`, and what it alone points at, stays allocated for ever. It does nothing but
/// tell the leak checker of an instrumented build; each caller names why the memory is kept.
void Unreleased_keep(void* memory);
