#pragma once

/// A second, different definition of what rules match, to hold the interpreter against. It takes policies as they were
/// written, before they are normalised.
///
/// A list is painted over the addresses: from the shortest length to the longest, first what it excepts, then what it
/// names. Whatever was painted last on an address counts. A range set is the table of its field's values.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Host::Test {

inline std::string bitsOf( Vell::IpGenPrefix const& prefix ) {
  std::string bits;
  for ( std::uint32_t at = 0; at != prefix.length(); ++at )
    bits += ( prefix.addressByte( at / 8 ) >> ( 7 - at % 8 ) & 1 ) != 0 ? '1' : '0';
  return bits;
}

inline bool isPainted( PrefixList const& list, Vell::IpGenPrefix const& address ) {
  std::string const bits = bitsOf( address );
  bool painted = false;
  for ( std::size_t length = 0; length <= bits.size(); ++length )
    for ( bool const names : { false, true } )
      for ( Vell::IpGenPrefix const& prefix : names ? list.prefixes : list.excepts )
        if ( prefix.length() == length && bits.substr( 0, length ) == bitsOf( prefix ) ) painted = names;
  return painted;
}

/// The values of a field that a rule matches.
class ValueTable {
 public:
  ValueTable( Field field, RangeSet const& ranges )
      : in_( maximumOf( field ) + 1, ranges.empty() ),
        headOnly_( field == Field::sport || field == Field::dport || field == Field::icmpType ) {
    for ( ValueRange const range : ranges )
      for ( std::uint32_t value = range.first; value <= range.last; ++value ) in_[value] = true;
    leavesOut_ = std::find( in_.begin(), in_.end(), false ) != in_.end();
  }

  bool has( std::uint32_t value, std::uint32_t fragment ) const {
    return !leavesOut_ || ( in_[value] && ( !headOnly_ || fragment == 0 ) );
  }

 private:
  std::vector<bool> in_;
  bool headOnly_;
  bool leavesOut_;
};

inline bool hasFlags( Rule const& rule, Verify::Packet const& packet ) {
  if ( rule.tcpInit ) return packet.fields[Field::fragment] == 0 && ( packet.tcpFlags & 0x12 ) == 0x02;
  if ( rule.tcpEstablished ) return packet.fields[Field::fragment] == 0 && ( packet.tcpFlags & 0x14 ) != 0;
  return true;
}

class PaintedAcl {
 public:
  /// Keep the ACL.
  explicit PaintedAcl( Acl const& acl ) : acl_( acl ) {
    for ( Rule const& rule : acl.rules ) {
      tables_.emplace_back();
      for ( Field const field : kFields ) tables_.back().emplace_back( field, rule.ranges[field] );
    }
  }

  /// The index of the rule that decides: the smallest of those that match.
  std::optional<std::uint32_t> rule( Verify::Packet const& packet ) const {
    std::optional<std::uint32_t> decides;
    for ( std::size_t at = 0; at != acl_.rules.size(); ++at )
      if ( matches( at, packet ) && ( !decides || acl_.rules[at].index < *decides ) ) decides = acl_.rules[at].index;
    return decides;
  }

 private:
  bool matches( std::size_t at, Verify::Packet const& packet ) const {
    Rule const& rule = acl_.rules[at];
    bool in = ( !rule.source || isPainted( *rule.source, packet.source ) ) &&
              ( !rule.destination || isPainted( *rule.destination, packet.destination ) ) && hasFlags( rule, packet );
    for ( Field const field : kFields )
      in = in && tables_[at][Kiv::enumValue( field )].has( packet.fields[field], packet.fields[Field::fragment] );
    return in;
  }

  Acl const& acl_;
  std::vector<std::vector<ValueTable>> tables_;  // by rule and field
};

}  // namespace Orvex::Host::Test
