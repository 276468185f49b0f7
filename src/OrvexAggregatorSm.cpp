#include "Orvex/OrvexAggregatorSm.h"

#include <array>
#include <optional>
#include <span>

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexByteHash.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexAggregatorSm" );

/// How many prefixes or ranges a line of a dump shows.
constexpr std::size_t kShownMembers = 32;

/// How many rules are asked for before the first of them is read.
constexpr std::size_t kRulesAhead = 8;

/// Calls `visit( type, ranges )` for the eight range fields of a filter, in the order of their types.
template <class Visit>
void forEachRangeField( RuleFilter const& filter, Visit const& visit ) {
  visit( RangeSetType::srcPort, filter.sportRange() );
  visit( RangeSetType::dstPort, filter.dportRange() );
  visit( RangeSetType::icmp, filter.icmpType() );
  visit( RangeSetType::proto, filter.proto() );
  visit( RangeSetType::length, filter.length() );
  visit( RangeSetType::fragment, filter.fragment() );
  visit( RangeSetType::dscp, filter.dscp() );
  visit( RangeSetType::ttl, filter.ttl() );
}

/// Asks for the memory that a rule's filter takes, its lists apart: those are shared, and so at hand.
void prefetchFilter( RuleFilter const& filter ) {
  constexpr std::size_t kCacheLine = 64;
  auto const* const start = reinterpret_cast<char const*>( &filter );
  for ( std::size_t at = 0; at < sizeof filter; at += kCacheLine ) __builtin_prefetch( start + at );
}

void prefetchRanges( RuleFilter const& filter ) {
  forEachRangeField( filter, []( RangeSetType, auto const& ranges ) {
    if ( !ranges.empty() ) __builtin_prefetch( &*ranges.begin() );
  } );
}

/// Calls `visit( rule )` for every rule of an ACL.
///
/// Rules lie in memory as they were made, and are walked in the order of their names' hashes: each would cost a dozen cache
/// misses, one after the other. So a few are taken at a time, and what their visits will read is asked for at once. With
/// 100,000 rules this takes a quarter off a kick, and two thirds off one that finds nothing changed.
template <class Visit>
void forEachRule( AclConfig const& acl, Visit const& visit ) {
  std::array<Kiv::Ptr<RuleConfig>, kRulesAhead> few;
  for ( auto at = acl.ruleByName().begin(); at; ) {
    std::size_t count = 0;
    for ( ; at && count != few.size(); ++at ) few[count++] = at.value();
    auto const rules = std::span( few ).first( count );
    for ( auto const& rule : rules ) __builtin_prefetch( rule->name().c_str() );
    for ( auto const& rule : rules )
      if ( rule->ruleFilter() ) prefetchFilter( *rule->ruleFilter() );
    for ( auto const& rule : rules )
      if ( rule->ruleFilter() ) prefetchRanges( *rule->ruleFilter() );
    for ( auto const& rule : rules ) visit( *rule );
  }
}

std::vector<Vell::IpGenPrefix> listed( IpPrefixList::Prefixes const& prefixes ) {
  std::vector<Vell::IpGenPrefix> all;
  all.reserve( prefixes.size() );
  for ( Vell::IpGenPrefix const& prefix : prefixes ) all.push_back( prefix );
  return all;
}

/// The text forms of the parts, one after the other.
template <class... Parts>
std::string composed( Parts const&... parts ) {
  Kiv::TextStream text;
  ( text << ... << parts );
  return text.str();
}

std::uint16_t lowBits( std::uint32_t value ) { return static_cast<std::uint16_t>( value & 0xFFFFU ); }

}  // namespace

/// What is wrong in a policy, in words for its author.
class AggregatorSm::PolicyError : public Kiv::Exception {
 public:
  using Exception::Exception;
};

namespace {

/// The family of the first prefix that the rule names, source before destination.
std::optional<Vell::AddressFamily> firstFamily( RuleConfig const& rule ) {
  for ( auto const& list : { rule.ruleFilter()->source(), rule.ruleFilter()->destination() } ) {
    if ( !list ) continue;
    for ( Vell::IpGenPrefix const& prefix : list->addr() ) return prefix.af();
    for ( Vell::IpGenPrefix const& prefix : list->exceptAddr() ) return prefix.af();
  }
  return std::nullopt;
}

/// Rules in order come first; those that have no place in it follow.
Vell::AddressFamily familyOf( AclConfig const& acl ) {
  for ( auto entry = acl.ruleById().begin(); entry; ++entry ) {
    auto const rule = entry.value() ? acl.ruleByName().find( entry.value()->name() ) : nullptr;
    if ( auto const family = rule ? firstFamily( *rule ) : std::nullopt ) return *family;
  }
  for ( auto rule = acl.ruleByName().begin(); rule; ++rule )
    if ( auto const family = firstFamily( *rule.value() ) ) return *family;
  return Vell::AddressFamily::ipv4;
}

/// A prefix of another family, if there is one.
std::optional<Vell::IpGenPrefix> strayPrefix( IpPrefixList const& list, Vell::AddressFamily family ) {
  for ( IpPrefixList::Prefixes const* const prefixes : { &list.addr(), &list.exceptAddr() } )
    for ( Vell::IpGenPrefix const& prefix : *prefixes )
      if ( prefix.af() != family ) return prefix;
  return std::nullopt;
}

}  // namespace

// The collectors

void PrefixDedupMarkAndSweeper::doCleanupSweptEntry( GenSetKey key ) {
  traceHandle.trace( 6, "PrefixDeduper(af=", prefixXformKey_.af(), ", src=", prefixXformKey_.src() ? 1 : 0,
                     ", chipId:", chipId_, ") Cleaning up key:", key.value() );
  prefixAggInfo_->prefixSetCollDel( key );
}

GenSetKey PrefixDedupMarkAndSweeper::getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const {
  auto const* const prefixListDedup = dynamic_cast<PrefixListDedup const*>( object.get() );
  Kiv::fatalUnless( prefixListDedup != nullptr, "prefixListDedup" );
  return prefixListDedup->prefixSet() ? prefixListDedup->prefixSet()->key() : GenSetKey();
}

void RangeDedupMarkAndSweeper::doCleanupSweptEntry( GenSetKey key ) {
  traceHandle.trace( 6, "RangeDeduper(type=", type_, ", chipId:", chipId_, "): Cleaning up key:", key.value() );
  rangeSplitAggInfo_->rangeSetCollDel( key );
}

GenSetKey RangeDedupMarkAndSweeper::getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const {
  auto const* const rangeSet = dynamic_cast<RangeSet const*>( object.get() );
  Kiv::fatalUnless( rangeSet != nullptr, "rangeSet" );
  return rangeSet->key();
}

// A kick

AggregatorSm::AggregatorSm( Brae::ChipId chipId, Kiv::Ptr<AggregatorConfig const> const& config,
                            Kiv::Ptr<AggregatorStatus> const& status,
                            Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                            Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen )
    : StageSm( chipId, config, status ),
      aggStatus_( status ),
      hwCapability_( hwCapability ),
      genSetKeyGen_( genSetKeyGen ),
      tracePrefix_( composed( "AggregatorSm(", chipId, ")::" ) ) {}

Kiv::Ptr<AggregatorConfig const> AggregatorSm::aggConfig() const {
  return Kiv::ptrCast<AggregatorConfig const>( config() );
}

void AggregatorSm::doStartKick() {
  traceHandle.trace( 8, tracePrefix_, "doStartKick" );
  try {
    AggregatorWorkingSet const workingSet = doBuildWorkingSet();
    if ( workingSet == aggWorkingSet_ ) {
      traceHandle.trace( 6, tracePrefix_, "doStartKick: Unchanged working set, skipping" );
      doSetStatus( StageStatusType::finishedSkipped );
      return;
    }
    aggWorkingSet_ = workingSet;
    doCleanSm();
    doBuildSets();
  } catch ( PolicyError const& error ) {
    traceHandle.trace( 0, tracePrefix_, "doStartKick: ", error.what() );
    forget();
    doSetStatus( StageStatusType::finishedFailed );
    return;
  }
  doDeleteUnusedSets();
  dumpAllPrefixSets();
  dumpAllRangeSets();
  doSetStatus( StageStatusType::finishedSuccess );
}

AggregatorWorkingSet AggregatorSm::doBuildWorkingSet() const {
  traceHandle.trace( 8, tracePrefix_, "doBuildWorkingSet" );
  ByteHash a;
  ByteHash b;
  auto const aclCount = static_cast<std::uint32_t>( policy().acl().size() );
  std::uint32_t ruleCount = 0;
  for ( auto acl = policy().acl().begin(); acl; ++acl ) {
    std::uint32_t const aclNameHash = acl.key().hash();
    a.combine( aclNameHash );
    forEachRule( *acl.value(), [&]( RuleConfig const& rule ) {
      if ( !rule.ruleFilter() )
        throw PolicyError(
            composed( "ACL ", acl.key(), ", rule ", rule.name(),
                      ": the rule has no filter; one that matches everything is made by ruleFilterIs()" ) );
      std::uint32_t const filterHash = rule.ruleFilter()->hash();
      std::uint32_t const ruleNameHash = rule.name().hash();
      a.combine( ruleNameHash ).feed( filterHash );
      b.feed( filterHash ).combine( ruleNameHash );
      ++ruleCount;
    } );
    b.combine( aclNameHash );
  }
  a.feed( aclCount ).feed( ruleCount );
  b.feed( ruleCount ).feed( aclCount );
  return { std::uint64_t{ a.result() } << 32 | b.result(), aclCount, ruleCount };
}

void AggregatorSm::doCleanSm() {
  traceHandle.trace( 8, tracePrefix_, "doCleanSm" );
  for ( auto collector = prefixDeduper_.begin(); collector; ++collector ) collector.value()->unmarkAll();
  for ( auto collector = rangeDeduper_.begin(); collector; ++collector ) collector.value()->unmarkAll();
  aggStatus()->aclGenSetIpRuleListDelAll();
  aggStatus()->genSetUsageInfoIs()->refCountDelAll();
}

/// Leaves what an empty policy leaves, whose working set is the initial one.
void AggregatorSm::forget() {
  aggWorkingSet_ = {};
  doCleanSm();
  doDeleteUnusedSets();
}

void AggregatorSm::doDeleteUnusedSets() {
  traceHandle.trace( 8, tracePrefix_, "doDeleteUnusedSets" );
  for ( auto collector = prefixDeduper_.begin(); collector; ++collector ) collector.value()->sweepUnmarked();
  for ( auto collector = rangeDeduper_.begin(); collector; ++collector ) collector.value()->sweepUnmarked();
}

// Building the sets

void AggregatorSm::doBuildSets() {
  traceHandle.trace( 8, tracePrefix_, "doBuildSets" );
  doBuildFieldSets();
  doBuildAclGenSetRuleById();
}

void AggregatorSm::doBuildFieldSets() {
  traceHandle.trace( 8, tracePrefix_, "doBuildFieldSets" );
  dumpAllPrefixListsInRules();
  dumpAllFieldSetsInRules();
  for ( auto acl = policy().acl().begin(); acl; ++acl ) {
    auto const list = aggStatus()->aclGenSetIpRuleListIs( acl.key() );
    list->afIs( familyOf( *acl.value() ) );
    forEachRule( *acl.value(), [&]( RuleConfig const& rule ) { buildRule( *list, rule ); } );
  }
}

void AggregatorSm::buildRule( AclGenSetIpRuleList& list, RuleConfig const& rule ) {
  RuleFilter const& filter = *rule.ruleFilter();
  auto const record = list.genSetIpRuleIs( rule.name() );
  record->matchTcpInitIs( filter.matchTcpInit() );
  record->matchTcpEstablishedIs( filter.matchTcpEstablished() );
  record->actionIs( rule.action() );

  auto const failure = [&]( std::string_view field, auto const&... text ) {
    return PolicyError( composed( "ACL ", list.name(), ", rule ", rule.name(), ", ", field, ": ", text... ) );
  };
  auto const prefixKey = [&]( Kiv::Ptr<IpPrefixList> const& prefixList, bool src ) {
    try {
      return doBuildPrefixSet( PrefixXformKey( list.af(), src ), prefixList );
    } catch ( PolicyError const& error ) {
      throw failure( src ? "source" : "destination", error.what() );
    }
  };
  if ( auto const& source = filter.source() ) {
    Kiv::fatalUnless( !source->addr().empty() || !source->exceptAddr().empty(),
                      "source->addrs() || source->exceptAddrs()" );
    record->sourceIs( prefixKey( source, true ) );
  }
  if ( auto const& destination = filter.destination() ) {
    Kiv::fatalUnless( !destination->addr().empty() || !destination->exceptAddr().empty(),
                      "destination->addrs() || destination->exceptAddrs()" );
    record->destinationIs( prefixKey( destination, false ) );
  }
  forEachRangeField( filter, [&]( RangeSetType type, auto const& ranges ) {
    if ( ranges.empty() ) return;
    try {
      record->rangeIs( type, buildRangeSet( type, ranges ) );
    } catch ( Kiv::RangeException const& error ) {
      throw failure( Kiv::stringValue( type ), error.what(), ": ", error.value() );
    }
  } );

  // A pair that is matched through a combined set does not use the two sets alone.
  auto const combined = [&]( ComboLabelSetType type, GenSetKey src, GenSetKey dst ) {
    if ( src == GenSetKey() || dst == GenSetKey() || !hwCapability()->comboEncodingAttrHas( type ) ) return;
    aggStatus()->genSetUsageInfo()->valueDec( src, 1 );
    aggStatus()->genSetUsageInfo()->valueDec( dst, 1 );
  };
  combined( list.af() == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix
                                                   : ComboLabelSetType::ipv6SrcDstPrefix,
            record->source(), record->destination() );
  combined( ComboLabelSetType::srcDstL4Port, record->sport(), record->dport() );
}

GenSetKey AggregatorSm::doBuildPrefixSet( PrefixXformKey prefixXformKey, Kiv::Ptr<IpPrefixList> const& prefixList ) {
  traceHandle.trace( 8, tracePrefix_, "doBuildPrefixSet" );
  auto const info = aggStatus()->prefixInfoIs( prefixXformKey );
  auto const collector = prefixDeduperIs( prefixXformKey, info, chipId() );
  auto const wrapper = Kiv::make<PrefixListDedup>( prefixList );
  GenSetKey key = collector->addDeduped( wrapper );
  if ( key == GenSetKey() ) {
    if ( auto const stray = strayPrefix( *prefixList, prefixXformKey.af() ) )
      throw PolicyError( composed( *stray, " is not of the family of the ACL's first prefix, ", prefixXformKey.af() ) );
    key = GenSetKey( genSetKeyGen()->genKeyInc( 1 ) );
    auto const set = info->prefixSetCollIs( key );
    set->prefixIs( listed( prefixList->addr() ) );
    set->exceptPrefixIs( listed( prefixList->exceptAddr() ) );
    wrapper->prefixSetIs( set );
    traceHandle.trace( 6, tracePrefix_, " Creating prefixSet,  prefixXformKey:", prefixXformKey,
                       ", set key:", key.value() );
    if ( traceHandle.enabled( 6 ) ) traceHandle.trace( 6, tracePrefix_, set->stringValue() );
  } else {
    traceHandle.trace( 6, tracePrefix_, "Using : prefixXformKey:", prefixXformKey, ", set key:", key.value() );
  }
  aggStatus()->genSetUsageInfo()->valueInc( key, 1 );
  return key;
}

template <class RangeType>
GenSetKey AggregatorSm::buildRangeSet( RangeSetType setType, RuleFilter::Ranges<RangeType> const& ranges ) {
  traceHandle.trace( 8, tracePrefix_, "buildRangeSet, setType:", setType );
  auto const info = aggStatus()->rangeSplitInfoIs( setType );
  GenSetKey const newKey( genSetKeyGen()->genKeyInc( 1 ) );
  std::vector<RangeSetElem> elements;
  elements.reserve( ranges.size() );
  for ( RangeType const& range : ranges )
    elements.emplace_back( lowBits( range.rangeStart() ), lowBits( range.rangeEnd() ) );
  auto const set = info->rangeSetCollIs( newKey, setType );
  set->rangeIs( std::move( elements ) );
  GenSetKey const key = rangeDeduperIs( setType, info, chipId() )->addDeduped( set );
  if ( key == newKey ) {
    traceHandle.trace( 6, tracePrefix_, " Creating rangeSet, key:", key.value() );
    if ( traceHandle.enabled( 6 ) ) traceHandle.trace( 6, tracePrefix_, set->stringValue() );
  } else {
    traceHandle.trace( 6, tracePrefix_, " Reusing rangeSet, key:", key.value() );
    info->rangeSetCollDel( newKey );
  }
  aggStatus()->genSetUsageInfo()->valueInc( key, 1 );
  return key;
}

void AggregatorSm::doBuildAclGenSetRuleById() {
  traceHandle.trace( 8, tracePrefix_, "doBuildAclGenSetRuleById" );
  for ( auto acl = policy().acl().begin(); acl; ++acl )
    orderRules( *acl.value(), *aggStatus()->aclGenSetIpRuleListIs( acl.key() ) );
}

/// A few rules at a time, for the reason given at forEachRule(); here that halves the time.
void AggregatorSm::orderRules( AclConfig const& acl, AclGenSetIpRuleList& list ) {
  struct Placed {
    AceIndex index;
    Kiv::Ptr<RuleConfig> rule;
    Kiv::Ptr<GenSetIpRule> record;
  };
  std::array<Placed, kRulesAhead> few;
  for ( auto at = acl.ruleById().begin(); at; ) {
    std::size_t count = 0;
    for ( ; at && count != few.size(); ++at ) few[count++] = { at.key(), at.value(), nullptr };
    auto const rules = std::span( few ).first( count );
    for ( Placed const& each : rules )
      if ( each.rule ) __builtin_prefetch( each.rule->name().c_str() );
    for ( Placed& each : rules )
      if ( each.rule ) each.record = list.genSetIpRule().find( each.rule->name() );
    for ( Placed const& each : rules ) {
      if ( each.record )
        list.genSetIpRuleByIdIs( each.index, each.record );
      else
        traceHandle.trace( 0, tracePrefix_, "doBuildAclGenSetRuleById: ACL ", acl.name(), ", rule ",
                           each.rule ? each.rule->name() : Kiv::String(), " at index ", each.index.value(),
                           ": the rule has been deleted, and is left out" );
    }
  }
}

Kiv::Ptr<PrefixDedupMarkAndSweeper> AggregatorSm::prefixDeduperIs( PrefixXformKey key,
                                                                   Kiv::Ptr<PrefixAggregatorInfo> const& info,
                                                                   Brae::ChipId chipId ) {
  auto collector = Kiv::instantiate( prefixDeduper_, key, info, chipId );
  Kiv::checkConstructorParameter( "_prefixAggInfo", info, collector->prefixAggInfo() );
  Kiv::checkConstructorParameter( "_chipId", chipId, collector->chipId() );
  return collector;
}

Kiv::Ptr<RangeDedupMarkAndSweeper> AggregatorSm::rangeDeduperIs( RangeSetType type,
                                                                 Kiv::Ptr<RangeSplitAggregatorInfo> const& info,
                                                                 Brae::ChipId chipId ) {
  auto collector = Kiv::instantiate( rangeDeduper_, type, info, chipId );
  Kiv::checkConstructorParameter( "_rangeSplitAggInfo", info, collector->rangeSplitAggInfo() );
  Kiv::checkConstructorParameter( "_chipId", chipId, collector->chipId() );
  return collector;
}

// Dumps

namespace {

/// As many members as a line shows, each printed by `print`; "..." in place of the others.
template <class Members, class Print>
void dumpMembers( Kiv::TraceHelper& dump, Members const& members, Print const& print ) {
  std::size_t shown = 0;
  for ( auto const& member : members ) {
    if ( shown++ == kShownMembers ) {
      dump << " ...";
      return;
    }
    print( member );
  }
}

/// Prefixes, and excepted ones marked as such. From sets and from lists.
template <class Prefixes>
void dumpPrefixes( Kiv::TraceHelper& dump, Prefixes const& prefixes, Prefixes const& exceptPrefixes ) {
  dumpMembers( dump, prefixes, [&]( Vell::IpGenPrefix const& prefix ) { dump << " " << prefix; } );
  dumpMembers( dump, exceptPrefixes, [&]( Vell::IpGenPrefix const& prefix ) { dump << " " << prefix << " except"; } );
}

std::string_view dumpHeading( RangeSetType type ) {
  static constexpr std::array<std::string_view, Kiv::enumValue( RangeSetType::rangeSetMax )> kHeadings = {
      "...source Port Ranges", "...destination Port Ranges", "...icmp Ranges", "...proto Ranges",
      "...length Ranges",      "...fragment Ranges",         "...dscp Ranges", "...ttl Ranges" };
  return kHeadings[Kiv::enumValue( type )];
}

/// Names each ACL and each rule in lines of their own, and has `dumpRule( filter )` write what follows the rule's.
template <class DumpRule>
void dumpRules( Kiv::TraceHelper& dump, AclConfigColl const& policy, DumpRule const& dumpRule ) {
  for ( auto acl = policy.acl().begin(); acl; ++acl ) {
    dump << "Acl Name " << acl.key();
    dump.trace();
    for ( auto rule = acl.value()->ruleByName().begin(); rule; ++rule ) {
      dump << "...Rule Name " << rule.key();
      dump.trace();
      dumpRule( *rule.value()->ruleFilter() );
    }
  }
}

}  // namespace

void AggregatorSm::dumpAllPrefixListsInRules() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  auto const dumpList = [&]( std::string_view heading, Kiv::Ptr<IpPrefixList> const& list ) {
    if ( !list ) return;
    *dump << heading;
    dumpPrefixes( *dump, list->addr(), list->exceptAddr() );
    dump->trace();
  };
  dumpRules( *dump, policy(), [&]( RuleFilter const& filter ) {
    dumpList( "...source Prefixes", filter.source() );
    dumpList( "...destination Prefixes", filter.destination() );
  } );
}

void AggregatorSm::dumpAllFieldSetsInRules() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  dumpRules( *dump, policy(), [&]( RuleFilter const& filter ) {
    forEachRangeField( filter, [&]( RangeSetType type, auto const& ranges ) {
      if ( ranges.empty() ) return;
      *dump << dumpHeading( type );
      dumpMembers( *dump, ranges,
                   [&]( auto const& range ) { *dump << " " << range.rangeStart() << "-" << range.rangeEnd(); } );
      dump->trace();
    } );
  } );
}

void AggregatorSm::dumpAllPrefixSets() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  for ( auto info = aggStatus()->prefixInfo().begin(); info; ++info ) {
    *dump << "*** Dump (" << info.key().af() << ", " << ( info.key().src() ? "source" : "destination" )
          << ") PrefixSets ***";
    dump->trace();
    for ( auto set = info.value()->prefixSetColl().begin(); set; ++set ) {
      *dump << "key " << set.key().value();
      dumpPrefixes( *dump, set.value()->prefix(), set.value()->exceptPrefix() );
      dump->trace();
    }
  }
}

void AggregatorSm::dumpAllRangeSets() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  std::size_t count = 0;
  for ( auto info = aggStatus()->rangeSplitInfo().begin(); info; ++info ) count += info.value()->rangeSetColl().size();
  *dump << "*** Dump " << count << " RangeSets ***";
  dump->trace();
  for ( auto info = aggStatus()->rangeSplitInfo().begin(); info; ++info ) {
    for ( auto set = info.value()->rangeSetColl().begin(); set; ++set ) {
      *dump << set.value()->stringValue();
      dump->trace();
    }
  }
}

}  // namespace Orvex
