#pragma once

#include <functional>

#include "prove/life/Input.h"

namespace kelo {

/// Leaves out of a script what is not needed for `fails` to hold of it: the result fails, and no single input of it can
/// be spared.
Script shrunk(Script script, const std::function<bool(const Script&)>& fails);

} // namespace kelo
