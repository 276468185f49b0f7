#pragma once

/// Reads policies in ACL text, the line language that network engineers type; docs/policy-format.md has its grammar.
///
///     ip prefix-list offices              ip access-list edge-in
///       10.0.0.0/8                          default deny
///       except 10.9.0.0/16                  10 permit tcp prefix-list offices any eq 443
///
/// Every line stands for itself, so that an error in one hides none in the others: the reader reports it and goes on with
/// the next line. Lists get their content when all files have been read, then the policy is normalised.
///
/// Cost: O(n log n) in the size of the text and of what lists match. A file that is included twice is read once.

#include <memory>
#include <optional>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// The policy that the files make together, in their order. None when the diagnostics have errors, old ones too.
std::optional<LocatedPolicy> readAclText( std::vector<std::shared_ptr<SourceFile const>> const& files,
                                          Diagnostics& diagnostics );

}  // namespace Orvex::Host
