#pragma once

/// What ACLs say about packets: by the table of a chip that holds the policy, by the policy itself, or by both.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Options.h"
#include "chip/SoftwareChip.h"
#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Cli {

/// "PACKET: the policy says VERDICT, the table VERDICT"
class VerdictsDiffer : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An ACL, as the policy and as the table know it.
struct AskedAcl {
  Host::Acl const* acl = nullptr;
  PDAclKey key;
};

class Verdicts {
 public:
  /// Policy and chip are kept. Requires: the policy is normalised.
  Verdicts( Host::Policy const& policy, Host::SoftwareChip& chip, ClassifyMode mode );

  /// Compiles the policy and loads the chip, unless the policy alone is asked. Why it is not loaded; or nothing.
  std::string load();

  /// In the order of families and names.
  std::vector<AskedAcl> const& acls() const { return acls_; }
  /// Null when there is none.
  AskedAcl const* acl( Vell::AddressFamily family, std::string_view name ) const;
  /// `did you mean "edge-in"?`, or empty.
  std::string nearestTo( std::string_view aclName ) const;

  /// Requires: the packet is of the ACL's family; load() was called.
  /// Fails with: VerdictsDiffer.
  Verify::Verdict of( AskedAcl const& asked, Verify::Packet const& packet ) const;

 private:
  Host::Policy const& policy_;
  Host::SoftwareChip& chip_;
  ClassifyMode mode_;
  std::vector<AskedAcl> acls_;
};

}  // namespace Orvex::Cli
