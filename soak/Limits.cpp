#include "Limits.h"

#include <bit>
#include <utility>

#include "ProvedTable.h"
#include "RandomProfile.h"
#include "packets/AddressNumber.h"

namespace Orvex::Soak {

namespace {

using Host::ChipProfile;
using Host::Field;
using Host::Policy;
using Host::PrefixList;
using Host::Resource;
using Host::Rule;
using Host::SharedPrefixList;
using Vell::AddressFamily;

// Policies

/// Rules that do things in turn.
class PolicyMaker {
 public:
  explicit PolicyMaker( AddressFamily family ) {
    policy_.acls.emplace_back();
    acl().name = "edge";
    acl().family = family;
  }

  Rule& addRule() {
    auto const index = static_cast<std::uint32_t>( acl().rules.size() + 1 );
    acl().rules.emplace_back();
    acl().rules.back().index = index;
    acl().rules.back().action.dropEnabled = index % 2 == 0;
    return acl().rules.back();
  }
  Policy policy() { return std::move( policy_ ); }

 private:
  Host::Acl& acl() { return policy_.acls.front(); }

  Policy policy_;
};

/// So many addresses, none beside another.
SharedPrefixList hosts( AddressFamily family, std::uint32_t first, std::uint32_t count ) {
  PrefixList list;
  for ( std::uint32_t at = first; at != first + count; ++at )
    list.prefixes.push_back( Host::addressOf( family, 0x0A000000 + 2 * at ) );
  return std::make_shared<PrefixList const>( std::move( list ) );
}

/// So many values, none beside another. They are of even parity: any two differ in two bits at least, so that no entry has two
/// of them.
Host::RangeSet values( std::uint32_t first, std::uint32_t count ) {
  Host::RangeSet set;
  for ( std::uint32_t at = first; at != first + count; ++at ) {
    std::uint32_t const value = 4 * at + 2 * ( static_cast<std::uint32_t>( std::popcount( at ) ) % 2 );
    set.push_back( { value, value } );
  }
  return set;
}

AddressFamily familyOf( ComboLabelSetType type ) {
  return type == ComboLabelSetType::ipv6SrcDstPrefix ? AddressFamily::ipv6 : AddressFamily::ipv4;
}

/// On one side of a combination, so many addresses or ports.
void setSide( Rule& rule, ComboLabelSetType type, bool isSource, std::uint32_t first, std::uint32_t count ) {
  if ( type == ComboLabelSetType::srcDstL4Port )
    rule.ranges[isSource ? Field::sport : Field::dport] = values( first, count );
  else
    ( isSource ? rule.source : rule.destination ) = hosts( familyOf( type ), first, count );
}

Policy hostsOneByOne( PrefixXformKey space, std::uint32_t count, Random& random ) {
  PolicyMaker maker( space.af() );
  std::uint32_t const first = random.between( 0, 1000 );
  for ( std::uint32_t at = 0; at != count; ++at ) {
    Rule& rule = maker.addRule();
    ( space.src() ? rule.source : rule.destination ) = hosts( space.af(), first + at, 1 );
  }
  return maker.policy();
}

Policy valuesOneByOne( Field field, std::uint32_t count, Random& random ) {
  PolicyMaker maker( AddressFamily::ipv4 );
  std::uint32_t const first = random.between( 0, Host::maximumOf( field ) + 1 - count );
  for ( std::uint32_t at = first; at != first + count; ++at ) maker.addRule().ranges[field] = { { at, at } };
  return maker.policy();
}

Policy pairsOneByOne( ComboLabelSetType type, std::uint32_t count, Random& random ) {
  PolicyMaker maker( familyOf( type ) );
  std::uint32_t const sources = random.between( 1, count );
  for ( std::uint32_t at = 0; at != count; ++at ) {
    Rule& rule = maker.addRule();
    setSide( rule, type, true, at % sources, 1 );
    setSide( rule, type, false, at / sources, 1 );
  }
  return maker.policy();
}

/// Every source has a label of its own, and the last rule has all of them.
Policy pairsOfOneRule( ComboLabelSetType type, std::uint32_t count, Random& random ) {
  PolicyMaker maker( familyOf( type ) );
  std::uint32_t const first = random.between( 0, 1000 );
  for ( std::uint32_t at = first; at != first + count; ++at ) setSide( maker.addRule(), type, true, at, 1 );
  Rule& rule = maker.addRule();
  setSide( rule, type, true, first, count );
  setSide( rule, type, false, 0, 1 );
  return maker.policy();
}

/// Shared out among the two sides.
Policy hostsOfBothSides( AddressFamily family, std::uint32_t count, Random& random ) {
  PolicyMaker maker( family );
  Rule& rule = maker.addRule();
  std::uint32_t const sources = random.between( 0, count );
  if ( sources != 0 ) rule.source = hosts( family, random.between( 0, 1000 ), sources );
  if ( sources != count ) rule.destination = hosts( family, random.between( 0, 1000 ), count - sources );
  return maker.policy();
}

Policy portsOfBothSides( std::uint32_t count, Random& random ) {
  PolicyMaker maker( AddressFamily::ipv6 );
  Rule& rule = maker.addRule();
  std::uint32_t const sources = random.between( 0, count );
  rule.ranges[Field::sport] = values( random.between( 0, 1000 ), sources );
  rule.ranges[Field::dport] = values( random.between( 0, 1000 ), count - sources );
  return maker.policy();
}

/// Values without labels take an entry each.
Policy entriesOfOneRule( std::uint32_t count, Random& random ) {
  PolicyMaker maker( AddressFamily::ipv4 );
  maker.addRule().ranges[Field::dport] = values( random.between( 0, 1000 ), count );
  return maker.policy();
}

// Chips

std::uint64_t powerOf( std::uint32_t bits ) { return std::uint64_t{ 1 } << bits; }

/// Without combinations: a limit switches on those that it is about.
ChipProfile wideProfile( Random& random ) {
  ChipProfile profile = Host::Test::widestProfile( random );
  profile.combos = {};
  return profile;
}

std::unique_ptr<Host::SoftwareChip> chipOf( ChipProfile profile ) {
  return std::make_unique<Host::SoftwareChip>( kSoakChip, std::move( profile ) );
}

/// A chip that guards against products above limits of its own.
class GuardedChip : public Host::SoftwareChip {
 public:
  GuardedChip( ChipProfile const& profile, std::uint64_t maxEntries, std::uint64_t maxPairs )
      : SoftwareChip( kSoakChip, profile ), capability_( capabilityOf( profile, kSoakChip ) ) {
    if ( maxEntries != 0 ) capability_->maxAclEntriesIs( maxEntries );
    if ( maxPairs != 0 ) capability_->maxComboPairsIs( maxPairs );
  }

  Kiv::Ptr<ChipHwCapability const> hwCapability() const override { return capability_; }

 private:
  Kiv::Ptr<ChipHwCapability> capability_;
};

// Limits

template <class Policies>
Limit labels( std::string const& table, std::uint32_t mostBits,
              std::function<void( ChipProfile&, ChipProfile::Encoding )> set, Policies policies ) {
  return { "labels of " + table,
           2,
           mostBits,
           []( std::uint32_t bits ) { return powerOf( bits ) - 1; },
           [set = std::move( set )]( std::uint32_t bits, Random& random ) {
             ChipProfile profile = wideProfile( random );
             set( profile, { bits, random.below( powerOf( bits ) ) } );
             return chipOf( std::move( profile ) );
           },
           policies,
           [table]( std::uint32_t bits, std::uint64_t needed ) {
             return table + " needs " + std::to_string( needed ) + " labels, and " + std::to_string( bits ) +
                    " bits have " + std::to_string( powerOf( bits ) - 1 );
           } };
}

template <class Policies>
Limit rows( Resource resource, Policies policies ) {
  std::string const name( Kiv::stringValue( resource ) );
  return { name,
           2,
           9,
           powerOf,
           [resource]( std::uint32_t bits, Random& random ) {
             ChipProfile profile = wideProfile( random );
             profile.capacities[resource] = powerOf( bits );
             if ( resource == Resource::ruleEntries ) profile.ranges = {};
             if ( resource == Resource::comboEntries )
               for ( auto const type : Host::kCombos ) profile.combo( type ).widthBits = 16;
             return chipOf( std::move( profile ) );
           },
           policies,
           [name]( std::uint32_t bits, std::uint64_t needed ) {
             return name + ": there are " + std::to_string( powerOf( bits ) ) + ", it would take " +
                    std::to_string( needed );
           } };
}

Limit guardedEntries() {
  return { "entries before a chip is asked",
           2,
           9,
           powerOf,
           []( std::uint32_t bits, Random& random ) {
             ChipProfile profile = wideProfile( random );
             profile.ranges = {};
             return std::make_unique<GuardedChip>( profile, powerOf( bits ), 0 );
           },
           entriesOfOneRule,
           []( std::uint32_t bits, std::uint64_t needed ) {
             return "the rules take at least " + std::to_string( needed ) + " entries; " +
                    std::to_string( powerOf( bits ) ) +
                    " are allowed over all ACLs; most cost ipv4 ACL edge, rule 1 (" + std::to_string( needed ) + ")";
           } };
}

Limit guardedPairs( ComboLabelSetType type ) {
  std::string const name( Kiv::stringValue( type ) );
  return { "pairs of " + name,
           2,
           8,
           powerOf,
           [type]( std::uint32_t bits, Random& random ) {
             ChipProfile profile = wideProfile( random );
             profile.combo( type ).widthBits = 16;
             return std::make_unique<GuardedChip>( profile, 0, powerOf( bits ) );
           },
           [type]( std::uint32_t count, Random& random ) { return pairsOfOneRule( type, count, random ); },
           [name]( std::uint32_t bits, std::uint64_t needed ) {
             return name + " would combine " + std::to_string( needed ) + " pairs of labels for one rule, and " +
                    std::to_string( powerOf( bits ) ) + " are allowed";
           } };
}

std::vector<Limit> makeLimits() {
  std::vector<Limit> all;
  all.reserve( Host::kPrefixSpaces.size() + Host::kFieldCount + 3 * Host::kCombos.size() + Host::kResourceCount );
  for ( PrefixXformKey const space : Host::kPrefixSpaces )
    all.push_back( labels(
        std::string( Kiv::stringValue( space.af() ) ) + ( space.src() ? " source" : " destination" ), 9,
        [space]( ChipProfile& profile, ChipProfile::Encoding encoding ) { profile.prefix( space ) = encoding; },
        [space]( std::uint32_t count, Random& random ) { return hostsOneByOne( space, count, random ); } ) );
  for ( Field const field : Host::kFields )
    all.push_back( labels(
        std::string( Kiv::stringValue( field ) ),
        Host::maximumOf( field ) == 63    ? 5
        : Host::maximumOf( field ) == 255 ? 7
                                          : 9,
        [field]( ChipProfile& profile, ChipProfile::Encoding encoding ) { profile.ranges[field] = encoding; },
        [field]( std::uint32_t count, Random& random ) { return valuesOneByOne( field, count, random ); } ) );
  for ( ComboLabelSetType const type : Host::kCombos ) {
    auto const pairs = [type]( std::uint32_t count, Random& random ) { return pairsOneByOne( type, count, random ); };
    all.push_back( labels(
        std::string( Kiv::stringValue( type ) ), 9,
        [type]( ChipProfile& profile, ChipProfile::Encoding encoding ) { profile.combo( type ) = encoding; }, pairs ) );
    all.push_back( rows( Resource::comboEntries, pairs ) );
    all.push_back( guardedPairs( type ) );
  }
  for ( auto const family : { AddressFamily::ipv4, AddressFamily::ipv6 } )
    all.push_back( rows( Host::prefixResourceOf( family ), [family]( std::uint32_t count, Random& random ) {
      return hostsOfBothSides( family, count, random );
    } ) );
  all.push_back( rows( Resource::rangeEntries, portsOfBothSides ) );
  all.push_back( rows( Resource::ruleEntries, entriesOfOneRule ) );
  all.push_back( guardedEntries() );
  return all;
}

}  // namespace

std::vector<Limit> const& limits() {
  static std::vector<Limit> const all = makeLimits();
  return all;
}

}  // namespace Orvex::Soak
