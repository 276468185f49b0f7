#include "chip/SnapshotReader.h"

#include <algorithm>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <utility>

#include "Kiv/Value.h"
#include "chip/ChipProfile.h"
#include "input/NearestWord.h"
#include "json/JsonTree.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kSchema = "orvex.snapshot/1";
constexpr std::uint64_t kMaxLabel = 0xFFFF;
/// The library's last index stands for none.
constexpr std::uint64_t kMaxRuleIndex = AceIndex::null - 1;

/// What is wrong, at a part of the text; ends the reading.
struct Fault {
  std::string_view part;
  std::string problem;
  std::string remedy;
};

using Names = std::initializer_list<std::string_view>;

/// An object that has these members and no others.
class Object {
 public:
  Object( JsonNode const& node, Names names ) : node_( node ) {
    auto const* const members = node.as<JsonNode::Members>();
    if ( !members ) throw Fault{ node.source(), "this is " + std::string( node.kindText() ), "write an object" };
    for ( JsonMember const& member : *members ) {
      if ( std::find( names.begin(), names.end(), member.name ) != names.end() ) continue;
      NearestWord nearest( member.name );
      for ( std::string_view const name : names ) nearest.consider( name );
      throw Fault{ member.nameSource, "there is no " + inQuotes( member.name ) + " here", nearest.question() };
    }
  }

  JsonNode const& at( std::string_view name ) const {
    JsonNode const* const member = node_.member( name );
    if ( !member ) throw Fault{ node_.source().substr( 0, 1 ), inQuotes( name ) + " is missing", "add it here" };
    return *member;
  }

 private:
  JsonNode const& node_;
};

JsonNode::Elements const& arrayOf( JsonNode const& node ) {
  if ( auto const* const elements = node.as<JsonNode::Elements>() ) return *elements;
  throw Fault{ node.source(), "this is " + std::string( node.kindText() ), "write an array" };
}

std::string const& textOf( JsonNode const& node ) {
  if ( auto const* const text = node.as<std::string>() ) return *text;
  throw Fault{ node.source(), "this is " + std::string( node.kindText() ), "write a string" };
}

/// Of an ACL or a rule, as a policy may have it.
std::string const& nameOf( JsonNode const& node ) {
  std::string const& name = textOf( node );
  if ( !name.empty() && isPrintable( name ) ) return name;
  throw Fault{ node.source(), "no policy has this name", "write printable text" };
}

bool flagOf( JsonNode const& node ) {
  if ( auto const* const flag = node.as<bool>() ) return *flag;
  throw Fault{ node.source(), "this is " + std::string( node.kindText() ), "write true or false" };
}

std::uint64_t numberOf( JsonNode const& node, std::uint64_t maximum ) {
  auto const* const number = node.as<std::uint64_t>();
  if ( number && *number <= maximum ) return *number;
  throw Fault{ node.source(), "this is out of range", "write a number from 0 to " + std::to_string( maximum ) };
}

std::uint16_t labelOf( JsonNode const& node ) { return static_cast<std::uint16_t>( numberOf( node, kMaxLabel ) ); }

std::size_t choiceOf( JsonNode const& node, std::span<std::string_view const> words ) {
  std::string const& text = textOf( node );
  auto const found = std::find( words.begin(), words.end(), text );
  if ( found != words.end() ) return static_cast<std::size_t>( found - words.begin() );
  NearestWord nearest( text );
  for ( std::string_view const word : words ) nearest.consider( word );
  throw Fault{ node.source(), "there is no " + inQuotes( text ) + " here", nearest.question() };
}

Vell::AddressFamily familyOf( JsonNode const& node ) {
  return static_cast<Vell::AddressFamily>( choiceOf( node, Vell::kAddressFamilyNames ) );
}

class SnapshotBuilder {
 public:
  void read( JsonNode const& root ) {
    Object const snapshot( root, { "schema", "chip", "prefixTables", "rangeTables", "comboTables", "acls" } );
    if ( textOf( snapshot.at( "schema" ) ) != kSchema )
      throw Fault{ snapshot.at( "schema" ).source(), "this is no snapshot of version 1",
                   "write " + inQuotes( kSchema ) };
    numberOf( snapshot.at( "chip" ), std::numeric_limits<std::uint32_t>::max() );
    for ( JsonNode const& table : arrayOf( snapshot.at( "prefixTables" ) ) ) readPrefixTable( table );
    for ( JsonNode const& table : arrayOf( snapshot.at( "rangeTables" ) ) ) readRangeTable( table );
    for ( JsonNode const& table : arrayOf( snapshot.at( "comboTables" ) ) ) readComboTable( table );
    for ( JsonNode const& acl : arrayOf( snapshot.at( "acls" ) ) ) readAcl( acl );
    result_.snapshot->pdAclCollIs( acls_ );
  }

  ReadSnapshot result() { return std::move( result_ ); }

 private:
  static void switchOn( JsonNode const& node, JsonNode const& invalid, Verify::TableShape::Table& table ) {
    if ( table.on ) throw Fault{ node.source().substr( 0, 1 ), "this table stands twice", "leave one of them out" };
    table = { true, labelOf( invalid ) };
  }

  /// Adds an entry whose key the table does not have yet.
  template <class Table, class Key>
  static void addEntry( Table& table, Key const& key, Object const& entry, JsonNode const& node ) {
    if ( table.entryHas( key ) ) throw Fault{ node.source(), "this entry stands twice", "leave one of them out" };
    table.entryIs( { key, EncodedLabel( labelOf( entry.at( "label" ) ) ) } );
  }

  void readPrefixTable( JsonNode const& node ) {
    static constexpr std::array<std::string_view, 2> kSides = { "src", "dst" };
    Object const table( node, { "family", "side", "invalid", "entries" } );
    PrefixXformKey const space( familyOf( table.at( "family" ) ), choiceOf( table.at( "side" ), kSides ) == 0 );
    switchOn( node, table.at( "invalid" ), result_.shape.prefix( space ) );
    auto const entries = result_.snapshot->pdPrefixXformEntryCollIs( space );
    for ( JsonNode const& each : arrayOf( table.at( "entries" ) ) ) {
      Object const entry( each, { "prefix", "label" } );
      addEntry( *entries, prefixOf( entry.at( "prefix" ), space.af() ), entry, each );
    }
  }

  static Vell::IpGenPrefix prefixOf( JsonNode const& node, Vell::AddressFamily family ) {
    std::string const& text = textOf( node );
    try {
      auto const prefix = Kiv::strepToValue<Vell::IpGenPrefix>( text );
      if ( prefix.af() == family && Host::textOf( prefix ) == text ) return prefix;
    } catch ( Kiv::Exception const& ) {
      // Told below, as for a prefix in another spelling.
    }
    throw Fault{ node.source(), inQuotes( text ) + " is no prefix of " + std::string( Kiv::stringValue( family ) ),
                 "write its address without further bits, and its length" };
  }

  void readRangeTable( JsonNode const& node ) {
    Object const table( node, { "field", "invalid", "entries" } );
    auto const names = std::span( kRangeSetTypeNames ).first( kFieldCount );
    auto const type = static_cast<RangeSetType>( choiceOf( table.at( "field" ), names ) );
    Field const field = kFields[Kiv::enumValue( type )];
    switchOn( node, table.at( "invalid" ), result_.shape.ranges[field] );
    auto const& entries = result_.snapshot->rangeEntryColl( type );
    for ( JsonNode const& each : arrayOf( table.at( "entries" ) ) ) {
      Object const entry( each, { "first", "last", "label" } );
      auto const first = static_cast<std::uint16_t>( numberOf( entry.at( "first" ), kMaxLabel ) );
      auto const last = static_cast<std::uint16_t>( numberOf( entry.at( "last" ), kMaxLabel ) );
      if ( first > last ) throw Fault{ each.source(), "this range ends before it begins", "write the lower end first" };
      addEntry( *entries, RangeSetElem( first, last ), entry, each );
    }
  }

  void readComboTable( JsonNode const& node ) {
    Object const table( node, { "type", "invalid", "entries" } );
    auto const names = std::span( kComboLabelSetTypeNames ).first( Verify::TableShape::kCombos );
    auto const type = static_cast<ComboLabelSetType>( choiceOf( table.at( "type" ), names ) );
    switchOn( node, table.at( "invalid" ), result_.shape.combo( type ) );
    auto const& entries = result_.snapshot->comboEntryColl( type );
    for ( JsonNode const& each : arrayOf( table.at( "entries" ) ) ) {
      Object const entry( each, { "srcLabel", "dstLabel", "label" } );
      EncodedComboLabel const pair( EncodedLabel( labelOf( entry.at( "srcLabel" ) ) ),
                                    EncodedLabel( labelOf( entry.at( "dstLabel" ) ) ) );
      addEntry( *entries, pair, entry, each );
    }
  }

  void readAcl( JsonNode const& node ) {
    Object const acl( node, { "name", "family", "default", "rules" } );
    auto const family = familyOf( acl.at( "family" ) );
    PDAclKey const key( family, libraryAclName( family, nameOf( acl.at( "name" ) ) ) );
    auto const defaultAction = static_cast<DefaultAction>( choiceOf( acl.at( "default" ), kDefaultActionNames ) );
    if ( !result_.defaults.emplace( key, defaultAction ).second )
      throw Fault{ acl.at( "name" ).source(), "this ACL stands twice", "leave one of them out" };
    auto const& rules = arrayOf( acl.at( "rules" ) );
    if ( rules.empty() ) return;
    auto const loaded = acls_->pdAclIs( key );
    for ( JsonNode const& rule : rules ) readRule( rule, *loaded );
  }

  static void readRule( JsonNode const& node, PDAclRuleColl& acl ) {
    Object const rule( node, { "index", "name", "action", "entries" } );
    AceIndex const index( static_cast<std::uint32_t>( numberOf( rule.at( "index" ), kMaxRuleIndex ) ) );
    if ( acl.ruleHas( index ) )
      throw Fault{ rule.at( "index" ).source(), "this rule stands twice", "leave one of them out" };
    nameOf( rule.at( "name" ) );
    auto const loaded = acl.ruleIs( index );
    loaded->actionIs( actionOf( rule.at( "action" ) ) );
    std::vector<PDAclFilter> filters;
    auto const& entries = arrayOf( rule.at( "entries" ) );
    for ( JsonNode const& entry : entries ) filters.push_back( filterOf( entry ) );
    loaded->filterIs( filters );
    if ( loaded->filter().size() != filters.size() ) failTwice( filters, entries );
  }

  /// Requires: one of the filters stands twice.
  [[noreturn]] static void failTwice( std::vector<PDAclFilter> const& filters, JsonNode::Elements const& entries ) {
    std::set<PDAclFilter> seen;
    std::size_t at = 0;
    while ( seen.insert( filters[at] ).second ) ++at;
    throw Fault{ entries[at].source(), "this entry stands twice", "leave one of them out" };
  }

  static OrvexActionValue actionOf( JsonNode const& node ) {
    Object const fields( node, { "drop", "log", "dscp", "tc", "sflow" } );
    auto const isSet = []( JsonNode const& value ) { return value.as<JsonNode::Null>() == nullptr; };
    OrvexActionValue action;
    action.dropEnabled = flagOf( fields.at( "drop" ) );
    action.logEnabled = flagOf( fields.at( "log" ) );
    action.sflowEnabled = flagOf( fields.at( "sflow" ) );
    action.setDscpEnabled = isSet( fields.at( "dscp" ) );
    if ( action.setDscpEnabled )
      action.dscp = Vell::DscpValue( static_cast<std::uint32_t>( numberOf( fields.at( "dscp" ), 63 ) ) );
    action.setTcEnabled = isSet( fields.at( "tc" ) );
    if ( action.setTcEnabled )
      action.tc =
          OrvexTrafficClass( static_cast<std::uint32_t>( numberOf( fields.at( "tc" ), OrvexTrafficClass::max ) ) );
    return action;
  }

  static PDAclFilter filterOf( JsonNode const& node ) {
    PDAclFilter filter;
    auto const* const members = node.as<JsonNode::Members>();
    if ( !members ) throw Fault{ node.source(), "this is " + std::string( node.kindText() ), "write an object" };
    for ( JsonMember const& member : *members ) {
      bool found = false;
      auto const read = [&]( auto const& field ) {
        if ( field.name != member.name ) return;
        found = true;
        auto const& pair = arrayOf( member.value );
        if ( pair.size() != 2 )
          throw Fault{ member.value.source(), "this is no label and mask", "write [LABEL, MASK]" };
        if ( labelOf( pair[1] ) == 0 )
          throw Fault{ member.value.source(), "a mask of 0 looks at no bit",
                       "leave " + inQuotes( member.name ) + " out" };
        filter.*field.getter = { EncodedLabel( labelOf( pair[0] ) ), LabelMask( labelOf( pair[1] ) ) };
      };
      std::apply( [&]( auto const&... fields ) { ( read( fields ), ... ); }, PDAclFilter::fields() );
      if ( found ) continue;
      NearestWord nearest( member.name );
      std::apply( [&]( auto const&... fields ) { ( nearest.consider( fields.name ), ... ); }, PDAclFilter::fields() );
      throw Fault{ member.nameSource, "an entry has no " + inQuotes( member.name ), nearest.question() };
    }
    return filter;
  }

  ReadSnapshot result_{ Kiv::make<PDData>(), {}, {} };
  Kiv::Ptr<PDAclColl> acls_ = Kiv::make<PDAclColl>();
};

}  // namespace

std::optional<ReadSnapshot> readSnapshot( SourceFile const& file, Diagnostics& diagnostics ) {
  auto const root = readJson( file, diagnostics );
  if ( !root ) return std::nullopt;
  SnapshotBuilder builder;
  try {
    builder.read( *root );
  } catch ( Fault const& fault ) {
    diagnostics.error( file.placeOf( fault.part ), fault.problem, fault.remedy );
    return std::nullopt;
  }
  return builder.result();
}

}  // namespace Orvex::Host
