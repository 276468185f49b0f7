#pragma once

/// The policies that comparisons are made on, by name: a file, or a generated policy.
///
///     acl1_10k.txt              a ClassBench filter set, by path
///     acl:ipv4:10000:1          a set in the ClassBench style: acl, firewall or chain, family, filters, seed
///     hosts:ipv4:100000:1       as many prefixes as rules, each the whole of a list of its own
///     lists:ipv4:2000:1         rules over 200 lists of sites
///     scattered:ipv4:2000:1     rules over 200 lists whose prefixes are drawn at random
///     crowded:ipv4:2000:1       the same over 2,000 lists of 200,000 prefixes: more labels than 16 bits have

#include <optional>
#include <string>

#include "Orvex/OrvexAclTypes.h"
#include "policy/Policy.h"

namespace Orvex::Bench {

/// The text of a generated policy: ClassBench for acl, firewall and chain, ACL text for the others. Nothing when the name is
/// no generated policy's.
std::optional<std::string> generatedText( std::string const& name );

/// Normalised; flags of filters left out. Nothing when there is no such file, or it holds no filter set.
std::optional<Host::Policy> policyNamed( std::string const& name );

/// The same as the library takes it; null when there is nothing.
Kiv::Ptr<AclConfigColl> configNamed( std::string const& name );

}  // namespace Orvex::Bench
