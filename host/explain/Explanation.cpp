#include "explain/Explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Kiv/Value.h"
#include "chip/ChipProfile.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"

namespace Orvex::Host {

namespace {

std::string addressText( Vell::IpGenPrefix const& address ) {
  std::string const text = textOf( address );
  return text.substr( 0, text.find( '/' ) );
}

// The key

/// Says by which row of which table each field of a packet's key came about.
class KeyReader {
 public:
  KeyReader( PDData const& snapshot, Verify::TableShape const& shape, Verify::Packet const& packet )
      : snapshot_( snapshot ), shape_( shape ), packet_( packet ), key_( keyOf( snapshot, shape, packet ) ) {}

  Verify::LookUpKey const& key() const { return key_; }

  std::vector<KeyField> fields() const {
    Vell::AddressFamily const family = packet_.source.af();
    auto const prefixCombo =
        family == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix;
    std::vector<KeyField> fields;
    fields.push_back( prefixField( "source", { family, true }, packet_.source, key_.source ) );
    fields.push_back( prefixField( "destination", { family, false }, packet_.destination, key_.destination ) );
    fields.push_back( comboField( "prefixCombo", prefixCombo, key_.source, key_.destination, key_.prefixCombo ) );
    for ( Field const field : kFields ) {
      fields.push_back( valueField( field ) );
      if ( field == Field::dport )
        fields.push_back( comboField( "portCombo", ComboLabelSetType::srcDstL4Port, key_.fields[Field::sport],
                                      key_.fields[Field::dport], key_.portCombo ) );
    }
    fields.push_back(
        { "headFragment", packet_.isHeadFragment() ? "head" : "later", "", false, key_.headFragment, {} } );
    fields.push_back( { "tcpFlag", std::to_string( packet_.tcpFlags ), "", false, key_.tcpFlag, {} } );
    return fields;
  }

 private:
  KeyField prefixField( std::string name, PrefixXformKey space, Vell::IpGenPrefix const& address,
                        std::uint16_t label ) const {
    KeyField field{ std::move( name ), addressText( address ), "", shape_.prefix( space ).on, label, {} };
    auto const table = snapshot_.pdPrefixXformEntryColl().find( space );
    if ( !table || !field.hasTable ) return field;
    Vell::IpGenPrefix const* longest = nullptr;
    for ( auto const& [prefix, entry] : table->entry() )
      if ( prefix.contains( address ) && ( !longest || prefix.length() > longest->length() ) ) longest = &prefix;
    if ( longest ) field.row = textOf( *longest );
    return field;
  }

  KeyField valueField( Field range ) const {
    std::uint32_t const value = packet_.fields[range];
    KeyField field{ std::string( Kiv::stringValue( range ) ),
                    std::to_string( value ),
                    "",
                    shape_.ranges[range].on,
                    key_.fields[range],
                    {} };
    if ( !field.hasTable ) return field;
    for ( auto const& [row, entry] : snapshot_.rangeEntryColl( rangeTableOf( range ) )->entry() )
      if ( row.first() <= value && value <= row.last() )
        field.row = std::to_string( row.first() ) + "-" + std::to_string( row.last() );
    return field;
  }

  KeyField comboField( std::string name, ComboLabelSetType type, std::uint16_t source, std::uint16_t destination,
                       std::uint16_t label ) const {
    std::string const pair = std::to_string( source ) + "," + std::to_string( destination );
    KeyField field{ std::move( name ), pair, "", shape_.combo( type ).on, label, {} };
    EncodedComboLabel const wanted( EncodedLabel{ source }, EncodedLabel{ destination } );
    if ( field.hasTable && snapshot_.comboEntryColl( type )->entryHas( wanted ) ) field.row = pair;
    return field;
  }

  PDData const& snapshot_;
  Verify::TableShape const& shape_;
  Verify::Packet const& packet_;
  Verify::LookUpKey key_;
};

void noteWanted( PDAclFilter const& entry, std::vector<KeyField>& key ) {
  std::size_t at = 0;
  std::apply( [&]( auto const&... field ) { ( ( key[at++].wanted = entry.*field.getter ), ... ); },
              PDAclFilter::fields() );
}

// The policy's words

/// The longest prefix that contains the address; null when none does.
Vell::IpGenPrefix const* longestOf( std::vector<Vell::IpGenPrefix> const& prefixes, Vell::IpGenPrefix const& address ) {
  Vell::IpGenPrefix const* longest = nullptr;
  for ( Vell::IpGenPrefix const& prefix : prefixes )
    if ( prefix.contains( address ) && ( !longest || prefix.length() > longest->length() ) ) longest = &prefix;
  return longest;
}

/// "prefix list OFFICES, BRANCHES"; empty where the rule names none.
std::string namesOf( ListParts const& parts ) {
  std::string names;
  if ( parts )
    for ( ListPart const& part : *parts ) names.append( names.empty() ? "prefix list " : ", " ).append( part.name );
  return names;
}

/// Of lists that are joined, the one that matches the address by itself.
ListedAddress listedIn( SharedPrefixList const& list, ListParts const& parts, Vell::IpGenPrefix const& address ) {
  if ( !list ) return {};
  if ( parts )
    for ( ListPart const& part : *parts )
      if ( Verify::matches( part.own, address ) )
        return { part.name, part.definition, *longestOf( part.own->prefixes, address ) };
  auto const* const prefix = longestOf( list->prefixes, address );
  return { "", {}, prefix ? std::optional( *prefix ) : std::nullopt };
}

PolicyPlaces::OfRule const kNowhere;
constexpr std::size_t kMostShown = 4;

template <class Values, class Text>
std::string someOf( Values const& values, Text const& text ) {
  std::string some;
  for ( std::size_t at = 0; at != std::min( values.size(), kMostShown ); ++at )
    some.append( some.empty() ? "" : " " ).append( text( values[at] ) );
  if ( values.size() > kMostShown ) some += " and " + std::to_string( values.size() - kMostShown ) + " more";
  return some;
}

std::string rangesText( RangeSet const& ranges ) {
  return someOf( ranges, []( ValueRange const& range ) {
    return range.first == range.last ? std::to_string( range.first )
                                     : std::to_string( range.first ) + "-" + std::to_string( range.last );
  } );
}

std::string whyOutside( PrefixList const& list, ListParts const& parts, Vell::IpGenPrefix const& address ) {
  std::string const names = namesOf( parts );
  auto const textOfPrefix = []( Vell::IpGenPrefix const& each ) { return textOf( each ); };
  if ( auto const* const excepted = longestOf( list.excepts, address ) )
    return fmt::format( " is in {}, which is excepted{}{}", textOf( *excepted ), names.empty() ? "" : " from ", names );
  return fmt::format( " is not in {}{}{}", someOf( list.prefixes, textOfPrefix ), names.empty() ? "" : " of ", names );
}

bool looksAtFlags( Rule const& rule ) { return rule.tcpInit || rule.tcpEstablished; }

/// A rule that names one thing of another rule.
Rule alone( Rule const& rule, Field field ) {
  Rule one;
  one.ranges[field] = rule.ranges[field];
  return one;
}

/// What of the rule only head fragments have: "sport, dport"
std::string headFragmentFields( Rule const& rule ) {
  std::string names;
  auto const add = [&names]( std::string_view name ) { names.append( names.empty() ? "" : ", " ).append( name ); };
  for ( Field const field : { Field::sport, Field::dport, Field::icmpType } )
    if ( !rule.ranges[field].empty() ) add( Kiv::stringValue( field ) );
  if ( looksAtFlags( rule ) ) add( "tcpFlags" );
  return names;
}

/// Everything that keeps the rule from matching.
std::vector<NearMiss> missesOf( Rule const& rule, Verify::Packet const& packet, PolicyPlaces::OfRule const& place ) {
  std::vector<NearMiss> misses;
  auto const address = [&]( char const* field, SharedPrefixList const& list, ListParts const& parts,
                            Vell::IpGenPrefix const& value ) {
    if ( !Verify::matches( list, value ) )
      misses.push_back( { rule.index, field,
                          fmt::format( "{} {}{}", field, addressText( value ), whyOutside( *list, parts, value ) ) } );
  };
  address( "source", rule.source, place.source, packet.source );
  address( "destination", rule.destination, place.destination, packet.destination );
  bool const lacksHead = matchesHeadFragmentsOnly( rule ) && !packet.isHeadFragment();
  if ( lacksHead )
    misses.push_back( { rule.index, "fragment",
                        "the packet is a later fragment, which does not carry " + headFragmentFields( rule ) } );
  for ( Field const field : kFields ) {
    bool const isOfHead = field == Field::sport || field == Field::dport || field == Field::icmpType;
    if ( ( lacksHead && ( isOfHead || field == Field::fragment ) ) || Verify::matches( alone( rule, field ), packet ) )
      continue;
    std::string const name( Kiv::stringValue( field ) );
    misses.push_back(
        { rule.index, name,
          name + " " + std::to_string( packet.fields[field] ) + " is not in " + rangesText( rule.ranges[field] ) } );
  }
  if ( !looksAtFlags( rule ) || lacksHead ) return misses;
  Rule flags;
  flags.tcpInit = rule.tcpInit;
  flags.tcpEstablished = rule.tcpEstablished;
  if ( !Verify::matches( flags, packet ) )
    misses.push_back( { rule.index, "tcpFlags",
                        "tcpFlags " + std::to_string( packet.tcpFlags ) +
                            ( rule.tcpInit ? " is not SYN without ACK" : " has neither ACK nor RST" ) } );
  return misses;
}

std::string verdictText( Verify::Verdict const& verdict ) {
  return ( verdict.action.dropEnabled ? "deny" : "permit" ) +
         ( verdict.rule ? " by rule " + std::to_string( *verdict.rule ) : std::string( " by no rule" ) );
}

}  // namespace

std::optional<NearMiss> nearMissOf( Rule const& rule, Verify::Packet const& packet,
                                    PolicyPlaces::OfRule const& place ) {
  auto misses = missesOf( rule, packet, place );
  return misses.size() == 1 ? std::optional( std::move( misses.front() ) ) : std::nullopt;
}

Explanation explain( LocatedPolicy const& located, Acl const& acl, Verify::Packet const& packet, PDData const& snapshot,
                     Verify::TableShape const& shape ) {
  Verify::Verdict const meant = interpret( acl, packet );
  KeyReader const reader( snapshot, shape, packet );
  Explanation result;
  result.key = reader.fields();
  result.verdict.action = actionOf( acl.defaultAction );
  PDAclKey const key( acl.family, libraryAclName( acl.family, acl.name ) );
  auto const table = snapshot.pdAclColl() ? snapshot.pdAclColl()->pdAcl().find( key ) : nullptr;
  if ( table )
    for ( auto const& [index, rule] : table->rule() ) {
      auto const entry = std::find_if( rule->filter().begin(), rule->filter().end(), [&]( PDAclFilter const& each ) {
        return Verify::matches( each, reader.key() );
      } );
      if ( entry == rule->filter().end() ) continue;
      result.verdict = { index.value(), rule->action() };
      auto const number = static_cast<std::size_t>( std::distance( rule->filter().begin(), entry ) ) + 1;
      result.entry = DecidingEntry{ number, rule->filter().size() };
      noteWanted( *entry, result.key );
      break;
    }
  if ( result.verdict != meant )
    throw DisagreementError( "the policy says " + verdictText( meant ) + ", and the table " +
                             verdictText( result.verdict ) );

  for ( Rule const& rule : acl.rules ) {
    auto const* const known = located.places.rule( acl.family, acl.name, rule.index );
    PolicyPlaces::OfRule const& place = known ? *known : kNowhere;
    if ( rule.index == meant.rule ) {
      result.source = listedIn( rule.source, place.source, packet.source );
      result.destination = listedIn( rule.destination, place.destination, packet.destination );
      break;
    }
    auto miss = nearMissOf( rule, packet, place );
    if ( !miss ) continue;
    if ( result.nearMisses.size() == kMostNearMisses )
      ++result.furtherNearMisses;
    else
      result.nearMisses.push_back( *std::move( miss ) );
  }
  return result;
}

}  // namespace Orvex::Host
