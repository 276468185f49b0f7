#include "PacketFormulas.h"

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

#include "packets/AddressNumber.h"

namespace Orvex::Soak {

namespace {

using Host::Field;
using Vell::IpGenPrefix;

std::string nameOf( Field field ) { return std::string( Kiv::stringValue( field ) ); }

/// From the shortest to the longest; of two equal ones, the one that counts comes last.
template <class Value>
void sortByLength( std::vector<std::pair<IpGenPrefix, Value>>& prefixes ) {
  std::stable_sort( prefixes.begin(), prefixes.end(),
                    []( auto const& a, auto const& b ) { return a.first.length() < b.first.length(); } );
}

Host::AddressNumber numberIn( z3::model const& model, z3::expr const& variable ) {
  std::string const bits = model.eval( variable, true ).get_decimal_string( 0 );
  Host::AddressNumber value = 0;
  for ( char const digit : bits ) value = value * 10 + static_cast<unsigned>( digit - '0' );
  return value;
}

}  // namespace

PacketFormulas::PacketFormulas( z3::context& context, Vell::AddressFamily family, Sameness sameness )
    : context_( context ),
      family_( family ),
      sameness_( sameness ),
      source_( context.bv_const( "source", Vell::addressWidthBits( family ) ) ),
      destination_( context.bv_const( "destination", Vell::addressWidthBits( family ) ) ),
      tcpFlags_( context.bv_const( "tcpFlags", 8 ) ) {
  for ( Field const field : Host::kFields )
    fields_.push_back(
        context.bv_const( nameOf( field ).c_str(), static_cast<unsigned>( std::bit_width( maximumOf( field ) ) ) ) );
}

Verify::Packet PacketFormulas::packetIn( z3::model const& model ) const {
  Verify::Packet packet;
  packet.source = Host::addressOf( family_, numberIn( model, source_ ) );
  packet.destination = Host::addressOf( family_, numberIn( model, destination_ ) );
  for ( Field const field : Host::kFields )
    packet.fields[field] = static_cast<std::uint32_t>( numberIn( model, fields_[Kiv::enumValue( field )] ) );
  packet.tcpFlags = static_cast<std::uint8_t>( numberIn( model, tcpFlags_ ) );
  return packet;
}

// Numbers

z3::expr PacketFormulas::number( std::uint64_t value, unsigned bits ) const { return context_.bv_val( value, bits ); }

z3::expr PacketFormulas::asLabel( z3::expr const& value ) {
  return z3::zext( value, kLabelBits - value.get_sort().bv_size() );
}

z3::expr PacketFormulas::verdict( Verify::Verdict const& verdict ) {
  Verify::Verdict counted = verdict;
  if ( sameness_ == Sameness::ofAction ) counted.rule.reset();
  auto const known = std::find( verdicts_.begin(), verdicts_.end(), counted );
  auto const at = static_cast<std::uint16_t>( known - verdicts_.begin() );
  if ( known == verdicts_.end() ) verdicts_.push_back( counted );
  return label( at );
}

// The policy

z3::expr PacketFormulas::verdictOf( Host::Acl const& acl ) {
  z3::expr result = verdict( { std::nullopt, actionOf( acl.defaultAction ) } );
  for ( std::size_t left = acl.rules.size(); left != 0; --left ) {
    Host::Rule const& rule = acl.rules[left - 1];
    result = z3::ite( matches( rule ), verdict( { rule.index, rule.action } ), result );
  }
  return result;
}

z3::expr PacketFormulas::matches( Host::Rule const& rule ) const {
  z3::expr result = isIn( source_, rule.source ) && isIn( destination_, rule.destination );
  z3::expr const isHead = fields_[Kiv::enumValue( Field::fragment )] == 0;
  for ( Field const field : Host::kFields ) {
    if ( rule.ranges[field].empty() ) continue;
    z3::expr isOne = context_.bool_val( false );
    for ( Host::ValueRange const range : rule.ranges[field] )
      isOne = isOne || isIn( fields_[Kiv::enumValue( field )], range );
    bool const isTransport = field == Field::sport || field == Field::dport || field == Field::icmpType;
    result = result && isOne && ( isTransport ? isHead : context_.bool_val( true ) );
  }
  auto const isSet = [this]( unsigned bit ) { return tcpFlags_.extract( bit, bit ) == 1; };
  constexpr unsigned kSyn = 1;
  constexpr unsigned kRst = 2;
  constexpr unsigned kAck = 4;
  if ( rule.tcpInit ) return result && isHead && isSet( kSyn ) && !isSet( kAck );
  if ( rule.tcpEstablished ) return result && isHead && ( isSet( kRst ) || isSet( kAck ) );
  return result;
}

z3::expr PacketFormulas::isIn( z3::expr const& address, Host::SharedPrefixList const& list ) const {
  if ( !list ) return context_.bool_val( true );
  std::vector<std::pair<IpGenPrefix, bool>> prefixes;
  for ( IpGenPrefix const& except : list->excepts ) prefixes.emplace_back( except, false );
  for ( IpGenPrefix const& prefix : list->prefixes ) prefixes.emplace_back( prefix, true );
  sortByLength( prefixes );
  z3::expr result = context_.bool_val( false );
  for ( auto const& [prefix, isOwn] : prefixes )
    result = z3::ite( isIn( address, prefix ), context_.bool_val( isOwn ), result );
  return result;
}

z3::expr PacketFormulas::isIn( z3::expr const& address, IpGenPrefix const& prefix ) const {
  if ( prefix.length() == 0 ) return context_.bool_val( true );
  unsigned const width = Vell::addressWidthBits( family_ );
  z3::expr const known = address.extract( width - 1, width - prefix.length() );
  Host::AddressNumber const bits = Host::firstOf( prefix ) >> ( width - prefix.length() );
  auto const high = static_cast<std::uint64_t>( bits >> 64 );
  auto const low = static_cast<std::uint64_t>( bits );
  if ( prefix.length() <= 64 ) return known == number( low, prefix.length() );
  return known == z3::concat( number( high, prefix.length() - 64 ), number( low, 64 ) );
}

z3::expr PacketFormulas::isIn( z3::expr const& value, Host::ValueRange range ) {
  unsigned const bits = value.get_sort().bv_size();
  return z3::uge( value, value.ctx().bv_val( range.first, bits ) ) &&
         z3::ule( value, value.ctx().bv_val( range.last, bits ) );
}

// The table

z3::expr PacketFormulas::verdictOf( PDData const& snapshot, Verify::TableShape const& shape,
                                    Verify::DefaultActions const& defaults, PDAclKey const& acl ) {
  auto const given = defaults.find( acl );
  auto const onMiss = given == defaults.end() ? Host::DefaultAction::deny : given->second;
  z3::expr result = verdict( { std::nullopt, Host::actionOf( onMiss ) } );
  auto const loaded = snapshot.pdAclColl() ? snapshot.pdAclColl()->pdAcl().find( acl ) : nullptr;
  if ( !loaded ) return result;
  Key const key = keyOf( snapshot, shape );
  std::vector<PDAclRule const*> rules;
  for ( auto const& [index, rule] : loaded->rule() ) rules.push_back( rule.get() );
  for ( std::size_t left = rules.size(); left != 0; --left ) {
    PDAclRule const& rule = *rules[left - 1];
    z3::expr_vector entries( context_ );
    for ( PDAclFilter const& entry : rule.filter() ) entries.push_back( matches( entry, key ) );
    if ( !entries.empty() )
      result = z3::ite( z3::mk_or( entries ), verdict( { rule.index().value(), rule.action() } ), result );
  }
  return result;
}

z3::expr PacketFormulas::matches( PDAclFilter const& entry, Key const& key ) const {
  z3::expr result = context_.bool_val( true );
  std::size_t next = 0;
  auto const add = [&]( EncodedLabelWithMask const& field ) {
    z3::expr const& have = key[next++];
    if ( field.mask.value() == 0 ) return;
    z3::expr const mask = label( field.mask.value() );
    result = result && ( have & mask ) == ( label( field.label.value() ) & mask );
  };
  std::apply( [&]( auto const&... field ) { ( add( entry.*field.getter ), ... ); }, PDAclFilter::fields() );
  return result;
}

PacketFormulas::Key PacketFormulas::keyOf( PDData const& snapshot, Verify::TableShape const& shape ) const {
  auto const ofField = [&]( Field field ) { return fieldLabel( snapshot, shape, field ); };
  auto const prefixPair =
      family_ == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix;
  z3::expr const source = prefixLabel( snapshot, shape, true );
  z3::expr const destination = prefixLabel( snapshot, shape, false );
  z3::expr const sport = ofField( Field::sport );
  z3::expr const dport = ofField( Field::dport );
  z3::expr const isHead = fields_[Kiv::enumValue( Field::fragment )] == 0;
  return { source,
           destination,
           pairLabel( snapshot, shape, prefixPair, source, destination ),
           sport,
           dport,
           pairLabel( snapshot, shape, ComboLabelSetType::srcDstL4Port, sport, dport ),
           ofField( Field::icmpType ),
           ofField( Field::proto ),
           ofField( Field::length ),
           ofField( Field::fragment ),
           ofField( Field::dscp ),
           ofField( Field::ttl ),
           z3::ite( isHead, label( 1 ), label( 0 ) ),
           asLabel( tcpFlags_ ) };
}

z3::expr PacketFormulas::prefixLabel( PDData const& snapshot, Verify::TableShape const& shape, bool source ) const {
  PrefixXformKey const space( family_, source );
  if ( !shape.prefix( space ).on ) return label( 0 );
  std::vector<std::pair<IpGenPrefix, std::uint16_t>> prefixes;
  if ( auto const table = snapshot.pdPrefixXformEntryColl().find( space ) )
    for ( auto const& [prefix, entry] : table->entry() )
      if ( prefix.af() == family_ ) prefixes.emplace_back( prefix, entry.value.value() );
  sortByLength( prefixes );
  z3::expr result = label( shape.prefix( space ).invalid );
  for ( auto const& [prefix, value] : prefixes )
    result = z3::ite( isIn( source ? source_ : destination_, prefix ), label( value ), result );
  return result;
}

/// Of ranges that overlap, which no good table has, the first counts.
z3::expr PacketFormulas::fieldLabel( PDData const& snapshot, Verify::TableShape const& shape, Field field ) const {
  z3::expr value = asLabel( fields_[Kiv::enumValue( field )] );
  if ( !shape.ranges[field].on ) return value;
  auto const& table = snapshot.rangeEntryColl( static_cast<RangeSetType>( Kiv::enumValue( field ) ) );
  std::vector<PDRangeXformEntry> rows;
  for ( auto const& [range, entry] : table->entry() ) rows.push_back( entry );
  z3::expr result = label( shape.ranges[field].invalid );
  for ( std::size_t left = rows.size(); left != 0; --left ) {
    PDRangeXformEntry const& row = rows[left - 1];
    result = z3::ite( isIn( value, Host::ValueRange{ row.key.first(), row.key.last() } ), label( row.value.value() ),
                      result );
  }
  return result;
}

z3::expr PacketFormulas::pairLabel( PDData const& snapshot, Verify::TableShape const& shape, ComboLabelSetType type,
                                    z3::expr const& source, z3::expr const& destination ) const {
  if ( !shape.combo( type ).on ) return label( 0 );
  z3::expr result = label( shape.combo( type ).invalid );
  for ( auto const& [pair, entry] : snapshot.comboEntryColl( type )->entry() )
    result = z3::ite( source == label( pair.srcLabel.value() ) && destination == label( pair.dstLabel.value() ),
                      label( entry.value.value() ), result );
  return result;
}

}  // namespace Orvex::Soak
