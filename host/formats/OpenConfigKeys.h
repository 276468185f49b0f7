#pragma once

/// What all lists of OpenConfig have in common: an entry's keys stand beside its configuration and within it again.

#include <optional>
#include <string_view>

#include "formats/InstanceNode.h"

namespace Orvex::Host {

/// The entry's configuration. None, with errors, when there is none. Reports members besides those, and keys that are
/// missing in it or differ from the entry's.
std::optional<InstanceNode> configOf( InstanceNode const& entry, InstanceNode::Keys keys,
                                      InstanceNode::Members members );
void configOf( InstanceNode const&& entry, InstanceNode::Keys keys, InstanceNode::Members members ) = delete;

}  // namespace Orvex::Host
