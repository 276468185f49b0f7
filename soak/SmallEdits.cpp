#include "SmallEdits.h"

#include <algorithm>
#include <array>
#include <utility>

#include "ProvedTable.h"
#include "packets/AddressNumber.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

namespace Orvex::Soak {

namespace {

constexpr std::uint32_t kPlaces = 3;
constexpr std::uint32_t kRules = 4;  // the first one is none
constexpr std::uint32_t kLists = 4;
constexpr std::uint32_t kDefaults = 2;
constexpr std::uint32_t kBases = kRules * kRules * kRules;
constexpr std::uint32_t kEdits = kPlaces * kRules + kLists + kDefaults;
constexpr std::uint32_t kNetwork = 0x0A000000;

using EditSet = std::array<std::uint32_t, 3>;

struct Version {
  std::array<std::uint32_t, kPlaces> rules{};
  std::uint32_t list = 0;
  std::uint32_t defaultAction = 0;

  explicit Version( std::uint32_t base ) {
    for ( std::uint32_t& rule : rules ) rule = std::exchange( base, base / kRules ) % kRules;
  }

  void edit( std::uint32_t number ) {
    if ( number < kPlaces * kRules )
      rules[number / kRules] = number % kRules;
    else if ( number < kPlaces * kRules + kLists )
      list = number - kPlaces * kRules;
    else
      defaultAction = number - kPlaces * kRules - kLists;
  }
};

Host::PrefixList prefixList( std::uint32_t number ) {
  Vell::IpGenPrefix const all( kNetwork, 30 );
  Vell::IpGenPrefix const half( kNetwork + 2, 31 );
  Vell::IpGenPrefix const one( kNetwork + 1, 32 );
  std::array<Host::PrefixList, kLists> const lists = {
      Host::PrefixList{ { all }, {} }, { { all }, { one } }, { { half, one }, {} }, { {}, { all } } };
  return lists[number];
}

Host::Rule ruleOf( std::uint32_t number, Host::SharedPrefixList const& list ) {
  Host::Rule rule;
  rule.action = Host::actionOf( number == 2 ? Host::DefaultAction::deny : Host::DefaultAction::permit );
  rule.source = number == 3 ? std::make_shared<Host::PrefixList const>( prefixList( 2 ) ) : list;
  if ( number != 2 ) rule.ranges[Host::Field::dport] = { { 0, number == 1 ? 0U : 2U } };
  return rule;
}

Host::Policy policyOf( Version const& version ) {
  Host::Acl acl;
  acl.name = "edge";
  acl.defaultAction = static_cast<Host::DefaultAction>( version.defaultAction );
  auto const list = std::make_shared<Host::PrefixList const>( prefixList( version.list ) );
  for ( std::uint32_t place = 0; place != kPlaces; ++place ) {
    if ( version.rules[place] == 0 ) continue;
    acl.rules.push_back( ruleOf( version.rules[place], list ) );
    acl.rules.back().index = 10 * ( place + 1 );
  }
  return normalised( Host::Policy{ { std::move( acl ) } } );
}

/// One of each kind that the rules tell apart.
std::vector<Verify::Packet> somePackets() {
  std::vector<Verify::Packet> packets;
  for ( std::uint32_t source = 0; source != 5; ++source )
    for ( std::uint32_t const port : { 0U, 1U, 2U, 3U } )
      for ( std::uint32_t const fragment : { 0U, 1U } ) {
        Verify::Packet packet;
        packet.source = Vell::IpGenPrefix( kNetwork + source, 32 );
        packet.destination = Vell::IpGenPrefix( kNetwork, 32 );
        packet.fields[Host::Field::dport] = port;
        packet.fields[Host::Field::fragment] = fragment;
        packets.push_back( packet );
      }
  return packets;
}

Host::ChipProfile chipWithLittleRoom() {
  Host::ChipProfile profile;
  profile.name = "little room";
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ) = { 4, 0 };
  profile.ranges[Host::Field::dport] = { 4, 15 };
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = Host::kUnlimited;
  profile.capacities[Host::Resource::ruleEntries] = 2;
  profile.capacities[Host::Resource::ipv4PrefixEntries] = 4;
  return profile;
}

/// Versions that follow one another on a chip.
class Chain {
 public:
  Chain( Version const& base, Case& one ) : version_( base ), one_( one ) { load(); }

  void edit( std::uint32_t number ) {
    version_.edit( number );
    load();
  }

 private:
  void load() {
    Host::Policy const policy = policyOf( version_ );
    auto const before = chip_.pdConfig()->currPDData();
    auto const result = Host::compileProved( policy, chip_ );
    if ( isLoaded( result, policy, chip_.profile() ) ) {
      accepted_ = policy;
      one_.tally.add( "edit states proved" );
    } else {
      if ( chip_.pdConfig()->currPDData() != before )
        throw Failure( "a refusal has left another snapshot", policy, chip_.profile() );
      one_.tally.add( "edit states refused for want of " + *shortageOf( result.compile ) );
    }
    askAboutAllPackets();
  }

  void askAboutAllPackets() {
    static std::vector<Verify::Packet> const packets = somePackets();
    for ( Host::Acl const& acl : accepted_.acls ) {
      AskedChip const asked( chip_, accepted_, acl );
      for ( Verify::Packet const& packet : packets ) asked.verdict( packet );
      one_.tally.add( "packets", packets.size() );
    }
  }

  Version version_;
  Case& one_;
  Host::SoftwareChip chip_{ kSoakChip, chipWithLittleRoom() };
  Host::Policy accepted_;
};

/// All sets of three edits, each in ascending order.
std::vector<EditSet> allEditSets() {
  std::vector<EditSet> sets;
  for ( std::uint32_t a = 0; a != kEdits; ++a )
    for ( std::uint32_t b = a + 1; b != kEdits; ++b )
      for ( std::uint32_t c = b + 1; c != kEdits; ++c ) sets.push_back( { a, b, c } );
  return sets;
}

std::vector<EditSet> const& editSets() {
  static std::vector<EditSet> const sets = allEditSets();
  return sets;
}

}  // namespace

std::uint64_t smallEditSets() { return kBases * editSets().size(); }

void checkSmallEdits( std::uint64_t number, Case& one ) {
  EditSet order = editSets()[number / kBases];
  do {
    Chain chain( Version( static_cast<std::uint32_t>( number % kBases ) ), one );
    for ( std::uint32_t const edit : order ) chain.edit( edit );
  } while ( std::next_permutation( order.begin(), order.end() ) );
}

}  // namespace Orvex::Soak
