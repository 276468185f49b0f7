#include "packets/BoundaryPackets.h"

#include <vector>

namespace Orvex::Host {

AddressNumber randomNumber( Random& random ) {
  return AddressNumber{ random.below( ~std::uint64_t{ 0 } ) } << 64 | random.below( ~std::uint64_t{ 0 } );
}

/// The first address, the last, or one between.
AddressNumber randomWithin( Random& random, Vell::IpGenPrefix const& prefix ) {
  AddressNumber const inner = ones( Vell::addressWidthBits( prefix.af() ) - prefix.length() );
  switch ( random.below( 3 ) ) {
    case 0:
      return firstOf( prefix );
    case 1:
      return lastOf( prefix );
    default:
      return firstOf( prefix ) | ( randomNumber( random ) & inner );
  }
}

BoundaryPackets::BoundaryPackets( Random& random, Acl const& acl ) : random_( random ), acl_( acl ) {
  auto const addBoundaries = [&]( std::vector<Vell::IpGenPrefix> const& prefixes ) {
    for ( Vell::IpGenPrefix const& prefix : prefixes )
      for ( AddressNumber const number :
            { firstOf( prefix ), lastOf( prefix ), firstOf( prefix ) - 1, lastOf( prefix ) + 1 } )
        addresses_.push_back( addressOf( acl.family, number ) );
  };
  for ( Rule const& rule : acl.rules ) {
    for ( SharedPrefixList const& list : { rule.source, rule.destination } ) {
      if ( !list ) continue;
      addBoundaries( list->prefixes );
      addBoundaries( list->excepts );
    }
    for ( Field const field : kFields )
      for ( ValueRange const range : rule.ranges[field] ) {
        auto& values = values_[field];
        values.insert( values.end(), { range.first, range.last } );
        if ( range.first != 0 ) values.push_back( range.first - 1 );
        if ( range.last != maximumOf( field ) ) values.push_back( range.last + 1 );
      }
  }
}

Verify::Packet BoundaryPackets::next() {
  Verify::Packet packet = anywhere();
  if ( acl_.rules.empty() || random_.percent( 50 ) ) return packet;
  aim( packet, random_.oneOf( acl_.rules ) );
  if ( random_.percent( 50 ) ) spoil( packet );
  return packet;
}

Verify::Packet BoundaryPackets::anywhere() {
  Verify::Packet packet;
  packet.source = anyAddress();
  packet.destination = anyAddress();
  for ( Field const field : kFields ) packet.fields[field] = anyValue( field );
  if ( random_.percent( 60 ) ) packet.fields[Field::fragment] = 0;
  packet.tcpFlags = anyTcpFlags();
  return packet;
}

/// Makes the rule match, as far as it can: its lists' holes are not looked at.
void BoundaryPackets::aim( Verify::Packet& packet, Rule const& rule ) {
  auto const aimAddress = [&]( Vell::IpGenPrefix& address, SharedPrefixList const& list ) {
    if ( list && !list->prefixes.empty() )
      address = addressOf( acl_.family, randomWithin( random_, random_.oneOf( list->prefixes ) ) );
  };
  aimAddress( packet.source, rule.source );
  aimAddress( packet.destination, rule.destination );
  if ( rule.ranges[Field::fragment].empty() ) packet.fields[Field::fragment] = 0;
  for ( Field const field : kFields ) {
    if ( rule.ranges[field].empty() ) continue;
    ValueRange const range = random_.oneOf( rule.ranges[field] );
    std::uint32_t const between = random_.between( range.first, range.last );
    packet.fields[field] = random_.oneOf( std::vector{ range.first, range.last, between } );
  }
  if ( rule.tcpInit )
    packet.tcpFlags = Constants::tcpFlagSyn;
  else if ( rule.tcpEstablished )
    packet.tcpFlags = random_.percent( 50 ) ? Constants::tcpFlagAck : Constants::tcpFlagRst;
}

void BoundaryPackets::spoil( Verify::Packet& packet ) {
  switch ( std::uint64_t const at = random_.below( kFieldCount + 3 ) ) {
    case kFieldCount:
      packet.source = anyAddress();
      break;
    case kFieldCount + 1:
      packet.destination = anyAddress();
      break;
    case kFieldCount + 2:
      packet.tcpFlags = anyTcpFlags();
      break;
    default:
      packet.fields[kFields[at]] = anyValue( kFields[at] );
  }
}

Vell::IpGenPrefix BoundaryPackets::anyAddress() {
  if ( !addresses_.empty() && random_.percent( 85 ) ) return random_.oneOf( addresses_ );
  return addressOf( acl_.family, randomNumber( random_ ) );
}

std::uint32_t BoundaryPackets::anyValue( Field field ) {
  if ( !values_[field].empty() && random_.percent( 70 ) ) return random_.oneOf( values_[field] );
  if ( random_.percent( 40 ) ) return random_.percent( 50 ) ? 0 : maximumOf( field );
  return random_.between( 0, maximumOf( field ) );
}

std::uint8_t BoundaryPackets::anyTcpFlags() { return static_cast<std::uint8_t>( random_.between( 0, 255 ) ); }

}  // namespace Orvex::Host
