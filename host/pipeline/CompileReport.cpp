#include "pipeline/CompileReport.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>

namespace Orvex::Host {

namespace {

constexpr std::uint64_t kGreatest = ~std::uint64_t{ 0 };

std::uint64_t saturatedProduct( std::uint64_t a, std::uint64_t b ) {
  return b != 0 && a > kGreatest / b ? kGreatest : a * b;
}

/// Labels run from 1 without gaps, so the highest is their number.
template <class Pieces>
std::uint64_t highestLabel( Pieces const& pieces ) {
  std::uint64_t highest = 0;
  for ( auto const& [piece, label] : pieces ) highest = std::max<std::uint64_t>( highest, label.value() );
  return highest;
}

template <class Status, class Statuses>
Kiv::Ptr<Status const> statusOf( Statuses const& statuses, typename Statuses::Key const& key ) {
  auto const status = statuses.find( key );
  return status ? Kiv::ptrCast<Status const>( status ) : nullptr;
}

ComboLabelSetType prefixComboOf( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix
                                             : ComboLabelSetType::ipv6SrcDstPrefix;
}

/// The sides that a combination is made of.
std::pair<LabelTable, LabelTable> sidesOf( ComboLabelSetType type ) {
  if ( type == ComboLabelSetType::srcDstL4Port ) return { RangeSetType::srcPort, RangeSetType::dstPort };
  auto const family =
      type == ComboLabelSetType::ipv4SrcDstPrefix ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6;
  return { PrefixXformKey( family, true ), PrefixXformKey( family, false ) };
}

std::vector<LabelTable> allTables() {
  std::vector<LabelTable> tables( kPrefixSpaces.begin(), kPrefixSpaces.end() );
  for ( Field const field : kFields ) tables.emplace_back( rangeTableOf( field ) );
  tables.insert( tables.end(), kCombos.begin(), kCombos.end() );
  return tables;
}

}  // namespace

std::string_view factorText( TcamFieldType field ) {
  static constexpr std::array<std::string_view, kTcamFieldTypeNames.size()> kTexts = {
      "",         "source", "destination", "address pair", "source port", "port", "port pair",  "ICMP type",
      "protocol", "length", "fragment",    "DSCP",         "TTL",         "init", "established" };
  return kTexts[Kiv::enumValue( field )];
}

std::string arithmeticOf( RuleUse const& rule ) {
  std::string text;
  for ( Factor const& factor : rule.factors )
    text += ( text.empty() ? "" : " x " ) + std::to_string( factor.entries ) + " " +
            std::string( factorText( factor.field ) );
  if ( text.empty() ) text = "anything";
  return text + " = " + std::to_string( rule.product );
}

CompileReporter::CompileReporter( StageSmStatus const& statuses, ChipProfile const& profile )
    : aggregator_( Kiv::ptrCast<AggregatorStatus const>( statuses.aggregatorStatus() ) ),
      statuses_( statuses ),
      profile_( profile ) {
  std::map<PDAclKey, Kiv::Ptr<AclGenSetIpRuleList>> acls;
  auto const& lists = aggregator_->aclGenSetIpRuleList();
  for ( auto list = lists.begin(); list; ++list )
    acls.emplace( PDAclKey( list.value()->af(), list.key() ), list.value() );
  for ( auto const& [key, acl] : acls )
    for ( auto rule = acl->genSetIpRuleById().begin(); rule; ++rule )
      rules_.push_back( { key, rule.key().value(), rule.value() } );
}

// Labels

std::vector<LabelUse> CompileReporter::labels( double kickTime ) const {
  std::vector<LabelUse> uses;
  for ( LabelTable const& table : allTables() )
    if ( encodingOf( table ).isOn() && xformOf( table )->kickTime() == kickTime ) uses.push_back( labelsOf( table ) );
  return uses;
}

LabelUse CompileReporter::labelsOf( LabelTable const& table ) const {
  std::uint64_t const width = encodingOf( table ).widthBits;
  return { tableText( table ), width, labelCount( table ), ( std::uint64_t{ 1 } << width ) - 1 };
}

std::uint64_t CompileReporter::labelCount( LabelTable const& table ) const {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) )
    return highestLabel( statusOf<PrefixXformStatus>( statuses_.prefixXformStatus(), *space )->prefixToLabelMap() );
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) )
    return highestLabel( statusOf<RangeSplitStatus>( statuses_.rangeSplitStatus(), *type )->rangeToPlainLabelMap() );
  auto const combo = std::get<ComboLabelSetType>( table );
  return highestLabel(
      statusOf<ComboLabelSplitStatus>( statuses_.comboLabelSplitStatus(), combo )->comboToPlainLabelMap() );
}

// Rules

std::vector<RuleUse> CompileReporter::rules( PDAclColl const* acls ) const {
  std::vector<RuleUse> uses;
  uses.reserve( rules_.size() );
  EncodersByField encoders;
  PDAclKey const* aclOfEncoders = nullptr;
  for ( RuleRef const& ref : rules_ ) {
    if ( aclOfEncoders && *aclOfEncoders != ref.acl ) encoders = {};
    aclOfEncoders = &ref.acl;
    RuleUse use{ ref.acl, ref.index, factorsOf( ref, encoders ), 1, 0 };
    bool const empty = std::any_of( use.factors.begin(), use.factors.end(),
                                    []( Factor const& factor ) { return factor.entries == 0; } );
    for ( Factor const& factor : use.factors ) use.product = saturatedProduct( use.product, factor.entries );
    if ( empty ) use.product = 0;
    auto const acl = acls ? acls->pdAcl().find( ref.acl ) : nullptr;
    auto const rule = acl ? acl->rule().find( AceIndex( ref.index ) ) : nullptr;
    if ( rule ) use.entries = rule->filter().size();
    uses.push_back( std::move( use ) );
  }
  return uses;
}

/// `encoders` keeps what has been looked up for rules of the same ACL.
std::vector<Factor> CompileReporter::factorsOf( RuleRef const& rule, EncodersByField& encoders ) const {
  std::vector<Factor> factors;
  auto const add = [&]( TcamFieldType field, LabelTable const& table ) {
    GenSetKey const key = keyOf( rule, table );
    if ( key == GenSetKey() ) return false;
    auto& encoder = encoders[Kiv::enumValue( field )];
    if ( !encoder ) encoder = encoderOf( table );
    // A set without a list is empty.
    auto const list = encoder->encodedLabelList().find( key );
    factors.push_back( { field, list ? list->encLabelAndMask().size() : 0 } );
    return true;
  };
  using Tcam = TcamFieldType;
  Vell::AddressFamily const family = rule.acl.af;
  if ( !add( Tcam::tcamFieldTypeSrcDstIp, prefixComboOf( family ) ) ) {
    add( Tcam::tcamFieldTypeSrcIp, PrefixXformKey( family, true ) );
    add( Tcam::tcamFieldTypeDstIp, PrefixXformKey( family, false ) );
  }
  if ( !add( Tcam::tcamFieldTypeSrcDstPort, ComboLabelSetType::srcDstL4Port ) ) {
    add( Tcam::tcamFieldTypeSrcPort, RangeSetType::srcPort );
    add( Tcam::tcamFieldTypeDstPort, RangeSetType::dstPort );
  }
  add( Tcam::tcamFieldTypeIcmp, RangeSetType::icmp );
  add( Tcam::tcamFieldTypeProto, RangeSetType::proto );
  add( Tcam::tcamFieldTypeLength, RangeSetType::length );
  add( Tcam::tcamFieldTypeFragOffset, RangeSetType::fragment );
  add( Tcam::tcamFieldTypeDscp, RangeSetType::dscp );
  add( Tcam::tcamFieldTypeTtl, RangeSetType::ttl );
  if ( rule.rule->matchTcpEstablished() ) factors.push_back( { Tcam::tcamFieldTypeMatchTcpEstablished, 2 } );
  if ( rule.rule->matchTcpInit() ) factors.push_back( { Tcam::tcamFieldTypeMatchTcpInit, 1 } );
  return factors;
}

std::uint64_t CompileReporter::mostEntries() const {
  // Flags come to two entries a rule at most.
  std::uint64_t most = saturatedProduct( rules_.size(), 2 );
  for ( LabelTable const& table : allTables() ) {
    std::uint64_t longest = 1;
    auto const encoder = encoderOf( table );
    if ( !encoder ) continue;
    auto const& lists = encoder->encodedLabelList();
    for ( auto list = lists.begin(); list; ++list )
      longest = std::max<std::uint64_t>( longest, list.value()->encLabelAndMask().size() );
    most = saturatedProduct( most, longest );
  }
  return most;
}

std::vector<RuleLists> CompileReporter::lists() const {
  auto const uses = rules( nullptr );
  std::vector<RuleLists> lists;
  lists.reserve( uses.size() );
  std::size_t acl = 0;
  for ( std::size_t at = 0; at != uses.size(); ++at ) {
    RuleRef const& rule = rules_[at];
    if ( at != 0 && rules_[at - 1].acl != rule.acl ) ++acl;
    // A rule that has a pair of lists in one does not use the two.
    auto const listOf = [&]( TcamFieldType field, bool source ) -> EncodedLabelWithMaskList const* {
      bool const has = std::any_of( uses[at].factors.begin(), uses[at].factors.end(),
                                    [field]( Factor const& factor ) { return factor.field == field; } );
      if ( !has ) return nullptr;
      LabelTable const table = PrefixXformKey( rule.acl.af, source );
      auto const list = encoderOf( table )->encodedLabelList().find( keyOf( rule, table ) );
      return list.get();
    };
    lists.push_back( { acl, listOf( TcamFieldType::tcamFieldTypeSrcIp, true ),
                       listOf( TcamFieldType::tcamFieldTypeDstIp, false ), uses[at].product } );
  }
  return lists;
}

// What costs most

std::vector<Cost> CompileReporter::setsWithMostLabels( LabelTable const& table ) const {
  std::vector<SetSize> sets;
  auto const lists = xformOf( table )->plainLabelListMap()->labelLists();
  for ( auto const& [key, list] : lists->entries() ) sets.push_back( { table, key, lists->labelCount( list ) } );
  return named( sets );
}

std::vector<Cost> CompileReporter::rulesWithMostPairs( ComboLabelSetType type ) const {
  return costliest( pairsBySets( type ) );
}

std::uint64_t CompileReporter::pairs( ComboLabelSetType type ) const {
  std::uint64_t pairs = 0;
  for ( Cost const& cost : pairsBySets( type ) ) pairs += cost.amount;
  return pairs;
}

std::vector<Cost> CompileReporter::pairsBySets( ComboLabelSetType type ) const {
  auto const [sourceTable, destinationTable] = sidesOf( type );
  auto const sizeOf = [&]( LabelTable const& table, GenSetKey key ) -> std::uint64_t {
    auto const list = xformOf( table )->plainLabelListMap()->plainLabelList().find( key );
    return list ? list->label().size() : 0;
  };
  std::set<std::pair<GenSetKey, GenSetKey>> seen;
  std::vector<Cost> costs;
  for ( RuleRef const& rule : rules_ ) {
    auto const keys = std::pair( keyOf( rule, sourceTable ), keyOf( rule, destinationTable ) );
    if ( keys.first == GenSetKey() || keys.second == GenSetKey() || !seen.insert( keys ).second ) continue;
    std::uint64_t const pairs =
        saturatedProduct( sizeOf( sourceTable, keys.first ), sizeOf( destinationTable, keys.second ) );
    costs.push_back( { ruleText( rule.acl, rule.index ), pairs } );
  }
  return costs;
}

std::vector<Cost> CompileReporter::largestSets( Resource resource ) const {
  std::vector<SetSize> sets;
  for ( LabelTable const& table : allTables() ) {
    if ( !encodingOf( table ).isOn() ) continue;
    if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) {
      if ( prefixResourceOf( space->af() ) != resource ) continue;
      auto const& all = aggregator_->prefixInfo().find( *space )->prefixSetColl();
      for ( auto set = all.begin(); set; ++set )
        sets.push_back( { table, set.key(), set.value()->prefix().size() + set.value()->exceptPrefix().size() } );
    } else if ( auto const* const type = std::get_if<RangeSetType>( &table ) ) {
      if ( resource != Resource::rangeEntries ) continue;
      auto const& all = aggregator_->rangeSplitInfo().find( *type )->rangeSetColl();
      for ( auto set = all.begin(); set; ++set ) sets.push_back( { table, set.key(), set.value()->range().size() } );
    } else if ( resource == Resource::comboEntries ) {
      auto const& all = comboInfoOf( std::get<ComboLabelSetType>( table ) )->comboLabelSetColl();
      for ( auto set = all.begin(); set; ++set ) sets.push_back( { table, set.key(), set.value()->size() } );
    }
  }
  return named( sets );
}

/// The largest, each named by the first rule that has it, equal ones in the order of these rules.
std::vector<Cost> CompileReporter::named( std::vector<SetSize> const& sets ) const {
  std::map<LabelTable, std::unordered_map<std::uint64_t, std::size_t>> firstRules;
  for ( SetSize const& set : sets ) {
    auto& ofTable = firstRules[set.table];
    if ( !ofTable.empty() ) continue;
    for ( std::size_t rule = 0; rule != rules_.size(); ++rule )
      ofTable.emplace( keyOf( rules_[rule], set.table ).value(), rule );
  }
  struct Named {
    std::uint64_t size;
    std::size_t rule;
    LabelTable table;
  };
  std::vector<Named> all;
  for ( SetSize const& set : sets )
    if ( auto const rule = firstRules[set.table].find( set.key.value() ); rule != firstRules[set.table].end() )
      all.push_back( { set.size, rule->second, set.table } );
  std::sort( all.begin(), all.end(), []( Named const& a, Named const& b ) {
    return std::tie( b.size, a.rule, a.table ) < std::tie( a.size, b.rule, b.table );
  } );
  std::vector<Cost> costs;
  for ( Named const& each : all ) {
    if ( costs.size() == kCostliest ) break;
    RuleRef const& rule = rules_[each.rule];
    costs.push_back( { tableText( each.table ) + " of " + ruleText( rule.acl, rule.index ), each.size } );
  }
  return costs;
}

// Statuses

ChipProfile::Encoding const& CompileReporter::encodingOf( LabelTable const& table ) const {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) return profile_.prefix( *space );
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) )
    return profile_.ranges[static_cast<Field>( Kiv::enumValue( *type ) )];
  return profile_.combo( std::get<ComboLabelSetType>( table ) );
}

Kiv::Ptr<XformStatus const> CompileReporter::xformOf( LabelTable const& table ) const {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) )
    return statusOf<XformStatus>( statuses_.prefixXformStatus(), *space );
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) )
    return statusOf<XformStatus>( statuses_.rangeSplitStatus(), *type );
  return statusOf<XformStatus>( statuses_.comboLabelSplitStatus(), std::get<ComboLabelSetType>( table ) );
}

Kiv::Ptr<EncoderStatus const> CompileReporter::encoderOf( LabelTable const& table ) const {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) )
    return statusOf<EncoderStatus>( statuses_.prefixEncoderStatus(), *space );
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) )
    return statusOf<EncoderStatus>( statuses_.rangeEncoderStatus(), *type );
  return statusOf<EncoderStatus>( statuses_.comboLabelEncoderStatus(), std::get<ComboLabelSetType>( table ) );
}

Kiv::Ptr<ComboLabelInfo const> CompileReporter::comboInfoOf( ComboLabelSetType type ) const {
  return statusOf<ComboLabelResolverStatus>( statuses_.comboLabelResolverStatus(), type )->comboLabelInfo();
}

GenSetKey CompileReporter::keyOf( RuleRef const& rule, LabelTable const& table ) const {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) {
    if ( space->af() != rule.acl.af ) return {};
    return space->src() ? rule.rule->source() : rule.rule->destination();
  }
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) ) return rule.rule->range( *type );
  auto const combo = std::get<ComboLabelSetType>( table );
  auto const [sourceTable, destinationTable] = sidesOf( combo );
  GenSetKeyPair const keys( keyOf( rule, sourceTable ), keyOf( rule, destinationTable ) );
  if ( keys.src == GenSetKey() || keys.dst == GenSetKey() ) return {};
  return comboInfoOf( combo )->srcDstToComboMap().find( keys ).value_or( GenSetKey() );
}

}  // namespace Orvex::Host
