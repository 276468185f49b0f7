#include "verify/PacketSpace.h"

namespace Orvex::Verify {

namespace {

using Host::Field;

constexpr std::uint32_t kAllFlags = 0xFF;
constexpr std::uint32_t kSyn = 0x02;
constexpr std::uint32_t kRst = 0x04;
constexpr std::uint32_t kAck = 0x10;

bool namesFlags( Host::Rule const& rule ) { return rule.tcpInit || rule.tcpEstablished; }

bool namesWhatOnlyHeadFragmentsHave( Host::Rule const& rule ) {
  return !rule.ranges[Field::sport].empty() || !rule.ranges[Field::dport].empty() ||
         !rule.ranges[Field::icmpType].empty() || namesFlags( rule );
}

/// The flag bytes that the rule allows; of "init" and "established" the first counts.
std::vector<Interval> flagBytes( Host::Rule const& rule ) {
  std::vector<Interval> bytes;
  for ( std::uint32_t flags = 0; flags <= kAllFlags; ++flags )
    if ( rule.tcpInit ? ( flags & ( kSyn | kAck ) ) == kSyn : ( flags & ( kAck | kRst ) ) != 0 )
      bytes.push_back( { flags, flags } );
  return bytes;
}

Host::RangeSet rangesIn( AtomSet const& set ) {
  Host::RangeSet ranges;
  for ( Interval const interval : set ) ranges.push_back( { interval.first, interval.last } );
  return ranges;
}

}  // namespace

PacketSpace::PacketSpace( Vell::AddressFamily family, AtomSets& sets )
    : family_( family ), sets_( sets ), atoms_{ AddressAtoms( family ), AddressAtoms( family ) } {}

void PacketSpace::cutAt( Host::Acl const& acl ) {
  for ( Host::Rule const& rule : acl.rules )
    for ( std::size_t const dimension : { kSourceDimension, kDestinationDimension } ) {
      auto const& list = dimension == kSourceDimension ? rule.source : rule.destination;
      if ( !list || !listSets_[dimension].emplace( list.get(), AtomSets::kEmpty ).second ) continue;
      auto const [known, isNew] = stretches_.try_emplace( list.get() );
      if ( isNew ) known->second = stretchesOf( *list );
      cutAt( dimension, known->second );
    }
}

void PacketSpace::settle() {
  for ( std::size_t const dimension : { kSourceDimension, kDestinationDimension } ) {
    AddressAtoms& atoms = atoms_[dimension];
    atoms.settle();
    all_[dimension] = sets_.idOf( { { 0, atoms.count() - 1 } } );
    for ( auto& [list, set] : listSets_[dimension] ) {
      std::vector<Stretch> const& stretches = stretches_.at( list );
      std::vector<Interval> const stretchAtoms = atoms.atomsOf( stretches );
      std::vector<Interval> matching;
      for ( std::size_t at = 0; at != stretches.size(); ++at )
        if ( stretches[at].value == 1 ) matching.push_back( stretchAtoms[at] );
      set = sets_.idOf( std::move( matching ) );
    }
  }
  for ( Field const field : Host::kFields )
    all_[dimensionOf( field )] = sets_.idOf( { { 0, Host::maximumOf( field ) } } );
  headFragment_ = sets_.idOf( { { 0, 0 } } );
  all_[kFlagsDimension] = sets_.idOf( { { 0, kAllFlags } } );
}

Box PacketSpace::boxOf( Host::Rule const& rule ) {
  Box box = all_;
  box[kSourceDimension] = setOf( kSourceDimension, rule.source );
  box[kDestinationDimension] = setOf( kDestinationDimension, rule.destination );
  for ( Field const field : Host::kFields ) {
    if ( rule.ranges[field].empty() ) continue;
    std::vector<Interval> values;
    for ( Host::ValueRange const range : rule.ranges[field] ) values.push_back( { range.first, range.last } );
    AtomSets::Id& set = box[dimensionOf( field )];
    set = sets_.intersection( set, sets_.idOf( std::move( values ) ) );
  }
  if ( namesFlags( rule ) ) box[kFlagsDimension] = sets_.idOf( flagBytes( rule ) );
  AtomSets::Id& fragment = box[dimensionOf( Field::fragment )];
  if ( namesWhatOnlyHeadFragmentsHave( rule ) ) fragment = sets_.intersection( fragment, headFragment_ );
  return box;
}

AtomSets::Id PacketSpace::setOf( std::size_t dimension, Host::SharedPrefixList const& list ) {
  return list ? listSets_[dimension].at( list.get() ) : all_[dimension];
}

Packet PacketSpace::packetIn( Box const& box ) const {
  auto const first = [&]( std::size_t dimension ) { return sets_[box[dimension]].front().first; };
  auto const address = [&]( std::size_t dimension ) {
    return prefixOf( family_, atoms_[dimension].firstOf( first( dimension ) ), Vell::addressWidthBits( family_ ) );
  };
  Packet packet;
  packet.source = address( kSourceDimension );
  packet.destination = address( kDestinationDimension );
  for ( Field const field : Host::kFields ) packet.fields[field] = first( dimensionOf( field ) );
  packet.tcpFlags = static_cast<std::uint8_t>( first( kFlagsDimension ) );
  return packet;
}

Region PacketSpace::regionOf( Box const& box ) const {
  Region region;
  region.source = prefixesIn( box, kSourceDimension );
  region.destination = prefixesIn( box, kDestinationDimension );
  for ( Field const field : Host::kFields ) region.ranges[field] = rangesIn( sets_[box[dimensionOf( field )]] );
  region.tcpFlags = rangesIn( sets_[box[kFlagsDimension]] );
  return region;
}

std::vector<Vell::IpGenPrefix> PacketSpace::prefixesIn( Box const& box, std::size_t dimension ) const {
  std::vector<Vell::IpGenPrefix> prefixes;
  for ( Interval const atoms : sets_[box[dimension]] ) {
    auto const some =
        prefixesOf( family_, atoms_[dimension].firstOf( atoms.first ), atoms_[dimension].lastOf( atoms.last ) );
    prefixes.insert( prefixes.end(), some.begin(), some.end() );
  }
  return prefixes;
}

}  // namespace Orvex::Verify
