#pragma once

/// What the user is told when a policy does not fit.

#include "Inputs.h"
#include "pipeline/Compile.h"

namespace Orvex::Cli {

/// Says what would make it fit, after the error that it does not; nothing when room is not what it wants, or when quiet.
void showRemedies( Host::LocatedPolicy const& located, Host::ChipProfile const& profile,
                   Host::CompileResult const& failure, ConsoleOptions const& options );

}  // namespace Orvex::Cli
