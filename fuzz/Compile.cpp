/// Small policies, as ACL text, on their way onto a small chip: proved, or refused with a reason.

#include <array>

#include "FuzzTarget.h"
#include "chip/SoftwareChip.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclTextReader.h"

namespace Orvex::Fuzz {

namespace {

using Host::ChipProfile;

constexpr std::size_t kMostRules = 8;
constexpr std::size_t kMostPieces = 40;
constexpr std::uint64_t kCapacity = 500;

std::size_t sizeOf( Host::SharedPrefixList const& list ) {
  return list ? list->prefixes.size() + list->excepts.size() : 0;
}

/// Whether a compile takes no more than some milliseconds.
bool isSmall( Host::Policy const& policy ) {
  std::size_t rules = 0;
  std::size_t pieces = 0;
  for ( Host::Acl const& acl : policy.acls ) {
    rules += acl.rules.size();
    if ( rules > kMostRules ) return false;
    for ( Host::Rule const& rule : acl.rules ) {
      pieces += sizeOf( rule.source ) + sizeOf( rule.destination );
      for ( Host::Field const field : Host::kFields ) pieces += rule.ranges[field].size();
    }
  }
  return pieces <= kMostPieces;
}

ChipProfile withoutRanges() {
  ChipProfile profile;
  profile.name = "values";
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ) = { 8, 0 };
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = kCapacity;
  return profile;
}

ChipProfile withEverything() {
  ChipProfile profile = withoutRanges();
  profile.name = "labels";
  profile.labelPlacement = LabelPlacement::nested;
  for ( Host::Field const field : Host::kFields ) profile.ranges[field] = { 6, 63 };
  for ( ComboLabelSetType const type : Host::kCombos ) profile.combo( type ) = { 8, 1 };
  return profile;
}

void checkCompile( Host::Policy const& policy, ChipProfile const& profile ) {
  Host::SoftwareChip chip( Brae::ChipId( 1 ), profile );
  auto const result = compileProved( policy, chip );
  if ( result.proof.outcome == Verify::Outcome::different )
    found( "the table is not the policy: " + result.proof.reason );
  if ( result.compile.outcome == Host::CompileOutcome::loaded )
    return require( result.proof.isProved(), "a table is loaded without a proof" );
  require( !result.compile.message.empty(), "a policy is not loaded, and nothing says why" );
}

}  // namespace

void oneInput( std::string_view input ) {
  if ( input.find( "include" ) != std::string_view::npos ) return;
  Host::Diagnostics diagnostics;
  auto const file = Host::SourceFile::fromText( "input", std::string( input ), diagnostics );
  auto const located = Host::readAclText( { file }, diagnostics );
  if ( !located || !isSmall( located->policy ) ) return;
  static std::array const kProfiles = { withoutRanges(), withEverything() };
  for ( ChipProfile const& profile : kProfiles ) checkCompile( located->policy, profile );
}

}  // namespace Orvex::Fuzz
