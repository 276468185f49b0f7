#pragma once

/// What of a policy a format cannot hold. Writers go through the whole policy first and write nothing when there is any:
///
///     edge.acl:4:3: error: RFC 8519 has no TCP flags for established and init: ipv4 edge-in 80, 90; ipv6 edge-in 60
///
/// A message for each kind of loss, with all rules that it is about, however many there are.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

class FormatLosses {
 public:
  /// `format` is for messages: "RFC 8519".
  explicit FormatLosses( std::string_view format ) : format_( format ) {}

  /// `what` completes "RFC 8519 ": "has no sFlow".
  void add( std::string_view what, Acl const& acl );
  void add( std::string_view what, Acl const& acl, Rule const& rule );

  bool empty() const { return kinds_.empty(); }
  /// Each at the place of its first rule.
  void report( PolicyPlaces const& places, Diagnostics& diagnostics ) const;

 private:
  struct OfAcl {
    Acl const* acl = nullptr;
    std::vector<Rule const*> rules;  // empty: the ACL itself
  };

  OfAcl& lossesOf( std::string_view what, Acl const& acl );

  std::string_view format_;
  std::map<std::string, std::vector<OfAcl>, std::less<>> kinds_;
};

}  // namespace Orvex::Host
