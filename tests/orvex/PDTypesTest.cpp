#include "Orvex/OrvexPDTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "orvex/TestExpander.h"

namespace Orvex {
namespace {

using Test::ternary;
using testing::ElementsAre;
using Vell::AddressFamily;
using Log = std::vector<std::string>;

// Filters

/// Filters that have one label more than an empty one has, in each field in turn, and the same with one mask bit more.
std::vector<PDAclFilter> filtersWithOneField() {
  std::vector<PDAclFilter> filters;
  auto const add = [&]( auto place ) {
    for ( char const* const bits :
          { "****************", "0***************", "1***************", "000000000000000*" } ) {
      PDAclFilter filter;
      filter.*place = ternary( bits );
      filters.push_back( filter );
    }
  };
  std::apply( [&]( auto const&... field ) { ( add( field.getter ), ... ); }, PDAclFilter::fields() );
  return filters;
}

TEST( PDAclFilter, FiltersThatDifferInOneFieldAreTwoEntriesWithTwoHashesAndTwoTexts ) {
  auto const filters = filtersWithOneField();
  std::set<PDAclFilter> const distinct( filters.begin(), filters.end() );
  ASSERT_EQ( 14U * 3 + 1, distinct.size() );  // an empty field is the same filter wherever it is
  std::set<std::uint32_t> hashes;
  std::set<Kiv::String> texts;
  auto const rule = Kiv::make<PDAclRule>( AceIndex( 1 ) );
  for ( PDAclFilter const& filter : filters ) {
    hashes.insert( filter.hash() );
    texts.insert( Kiv::valueToStrep( filter ) );
    rule->filterIs( filter );
    EXPECT_EQ( filter, Kiv::strepToValue<PDAclFilter>( Kiv::valueToStrep( filter ).view() ) );
  }
  EXPECT_EQ( distinct.size(), hashes.size() );
  EXPECT_EQ( distinct.size(), texts.size() );
  EXPECT_EQ( distinct.size(), rule->filter().size() );
}

TEST( PDAclFilter, IsReadFromTheTextOfItsFieldsInOrder ) {
  std::string text = "Value('Orvex::PDAclFilter', ** {";
  unsigned label = 0;
  for ( char const* const field : { "source", "destination", "prefixCombo", "sport", "dport", "portCombo", "icmpType",
                                    "proto", "length", "fragment", "dscp", "ttl", "headFragment", "tcpFlag" } ) {
    std::string const number = std::to_string( ++label );
    text += std::string( label == 1 ? "'" : ", '" ) + field + "': Value('Orvex::EncodedLabelWithMask', ** {'label': " +
            "Value('Orvex::EncodedLabel', ** {'value': " + number +
            "}), 'mask': Value('Orvex::LabelMask', ** {'value': 65535})})";
  }
  text += "})";
  auto const filter = Kiv::strepToValue<PDAclFilter>( text );
  EXPECT_EQ( text, Kiv::valueToStrep( filter ).view() );
  EXPECT_EQ( 1U, filter.source.label.value() );
  EXPECT_EQ( 6U, filter.portCombo.label.value() );
  EXPECT_EQ( 14U, filter.tcpFlag.label.value() );
}

TEST( PDAclFilter, FieldsCountForTheOrderAsTheyStandLabelsBeforeMasks ) {
  auto const with = []( std::string const& source, std::string const& tcpFlag ) {
    PDAclFilter filter;
    filter.source = ternary( source );
    filter.tcpFlag = ternary( tcpFlag );
    return filter;
  };
  std::vector<PDAclFilter> const ascending = { with( "***", "***" ), with( "***", "*0*" ), with( "***", "111" ),
                                               with( "**0", "***" ), with( "00*", "***" ), with( "0*1", "***" ),
                                               with( "001", "***" ), with( "001", "*1*" ), with( "1**", "***" ) };
  for ( std::size_t i = 0; i != ascending.size(); ++i )
    for ( std::size_t j = 0; j != ascending.size(); ++j ) EXPECT_EQ( i <=> j, ascending[i] <=> ascending[j] );
}

// Rules

TEST( PDAclColl, CountsTheFiltersOfAllRulesOfAllAcls ) {
  PDAclFilter init, established;
  init.tcpFlag = ternary( "***0**1*" );
  established.tcpFlag = ternary( "***1****" );
  auto const acls = Kiv::make<PDAclColl>();
  EXPECT_EQ( 0U, acls->numFilters() );
  for ( auto const af : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {  // two ACLs of one name
    auto const rules = acls->pdAclIs( PDAclKey( af, "edge" ) );
    EXPECT_EQ( 0U, rules->numFilters() );
    rules->ruleIs( AceIndex( 30 ) );
    rules->ruleIs( AceIndex( 10 ) )->filterIs( std::vector{ init, established, init } );
    rules->ruleIs( AceIndex( 20 ) )->filterIs( init );
    rules->ruleIs( AceIndex( 20 ) )->filterIs( init );
    EXPECT_EQ( 3U, rules->numFilters() );
    std::vector<std::uint32_t> indices;
    for ( auto const& [index, rule] : rules->rule() ) indices.push_back( rule->index().value() );
    EXPECT_THAT( indices, ElementsAre( 10, 20, 30 ) );
  }
  EXPECT_EQ( 6U, acls->numFilters() );
  acls->pdAclDel( PDAclKey( AddressFamily::ipv6, "edge" ) );
  EXPECT_EQ( 3U, acls->numFilters() );
}

TEST( PDData, EachNameIsATableOfItsOwn ) {
  PDData const data;
  std::set<Kiv::Entity const*> tables;
  std::vector<PDData::ComboColl> const combos = { data.pdV4PrefixComboEntryColl(), data.pdV6PrefixComboEntryColl(),
                                                  data.pdPortComboEntryColl() };
  for ( auto const& table : combos ) tables.insert( table.get() );
  std::vector<PDData::RangeColl> const ranges = {
      data.pdSrcPortXformEntryColl(),  data.pdDstPortXformEntryColl(), data.pdIcmpXformEntryColl(),
      data.pdProtocolXformEntryColl(), data.pdLengthXformEntryColl(),  data.pdFragmentXformEntryColl(),
      data.pdDscpXformEntryColl(),     data.pdTtlXformEntryColl(),     data.pdTcpFlagsXformEntryColl() };
  for ( auto const& table : ranges ) tables.insert( table.get() );
  EXPECT_EQ( 12U, tables.size() );
  for ( std::uint32_t type = 0; type != 8; ++type )
    EXPECT_EQ( ranges[type], data.rangeEntryColl( static_cast<RangeSetType>( type ) ) );
}

// Requests and answers

class AnswerLog : public PDStatus::NotifieeConst {
 public:
  explicit AnswerLog( Kiv::Ptr<PDStatus> const& status ) {
    notifierIs( status );
    hasNotificationActiveIs( true );
  }
  void onPdPrefixXformEntryStatus() override { log.push_back( "all prefixes" ); }
  void onPdPrefixXformEntryStatus( PrefixXformKey key ) override {
    log.push_back( std::string( key.af() == AddressFamily::ipv4 ? "ipv4 " : "ipv6 " ) + ( key.src() ? "src" : "dst" ) );
  }
  void onComboEntryStatus( ComboLabelSetType type ) override { add( type ); }
  void onRangeEntryStatus( RangeSetType type ) override { add( type ); }
  void onPdTcpFlagsXformEntryStatus() override { log.push_back( "tcpFlags" ); }
  void onPdAclRuleIpv4EntryStatus() override { log.push_back( "rules4" ); }
  void onPdAclRuleIpv6EntryStatus() override { log.push_back( "rules6" ); }
  void onGlobalAclControl() override { log.push_back( "control" ); }

  Log taken() { return std::exchange( log, {} ); }

 private:
  template <class Type>
  void add( Type type ) {
    log.emplace_back( Kiv::stringValue( type ) );
  }

  Log log;
};

/// An answer by its two accessors.
struct Answer {
  std::string event;
  std::function<void( ResourceStatus const& )> set;
  std::function<ResourceStatus()> get;
};

std::vector<Answer> answersOf( PDStatus& status ) {
  std::vector<Answer> answers;
  auto const add = [&]( std::string const& event, auto set, auto get ) {
    answers.push_back( { event, [&status, set]( ResourceStatus const& answer ) { ( status.*set )( answer ); },
                         [&status, get] { return ( status.*get )(); } } );
  };
  for ( auto const af : { AddressFamily::ipv4, AddressFamily::ipv6 } )
    for ( bool const src : { true, false } ) {
      PrefixXformKey const key( af, src );
      answers.push_back(
          { std::string( af == AddressFamily::ipv4 ? "ipv4 " : "ipv6 " ) + ( src ? "src" : "dst" ),
            [&status, key]( ResourceStatus const& answer ) { status.pdPrefixXformEntryStatusIs( key, answer ); },
            [&status, key] { return status.pdPrefixXformEntryStatus().find( key ).value_or( ResourceStatus() ); } } );
    }
  add( "ipv4SrcDstPrefix", &PDStatus::pdV4PrefixComboEntryStatusIs, &PDStatus::pdV4PrefixComboEntryStatus );
  add( "ipv6SrcDstPrefix", &PDStatus::pdV6PrefixComboEntryStatusIs, &PDStatus::pdV6PrefixComboEntryStatus );
  add( "srcDstL4Port", &PDStatus::pdPortComboEntryStatusIs, &PDStatus::pdPortComboEntryStatus );
  add( "srcPort", &PDStatus::pdSrcPortXformEntryStatusIs, &PDStatus::pdSrcPortXformEntryStatus );
  add( "dstPort", &PDStatus::pdDstPortXformEntryStatusIs, &PDStatus::pdDstPortXformEntryStatus );
  add( "icmp", &PDStatus::pdIcmpXformEntryStatusIs, &PDStatus::pdIcmpXformEntryStatus );
  add( "proto", &PDStatus::pdProtocolXformEntryStatusIs, &PDStatus::pdProtocolXformEntryStatus );
  add( "length", &PDStatus::pdLengthXformEntryStatusIs, &PDStatus::pdLengthXformEntryStatus );
  add( "fragment", &PDStatus::pdFragmentXformEntryStatusIs, &PDStatus::pdFragmentXformEntryStatus );
  add( "dscp", &PDStatus::pdDscpXformEntryStatusIs, &PDStatus::pdDscpXformEntryStatus );
  add( "ttl", &PDStatus::pdTtlXformEntryStatusIs, &PDStatus::pdTtlXformEntryStatus );
  add( "tcpFlags", &PDStatus::pdTcpFlagsXformEntryStatusIs, &PDStatus::pdTcpFlagsXformEntryStatus );
  add( "rules4", &PDStatus::pdAclRuleIpv4EntryStatusIs, &PDStatus::pdAclRuleIpv4EntryStatus );
  add( "rules6", &PDStatus::pdAclRuleIpv6EntryStatusIs, &PDStatus::pdAclRuleIpv6EntryStatus );
  return answers;
}

TEST( PDStatus, EveryAnswerNotifiesOnceAChangeUnderItsOwnName ) {
  auto const status = Kiv::make<PDStatus>( Brae::ChipId( 1 ) );
  auto const log = Kiv::make<AnswerLog>( status );
  auto const answers = answersOf( *status );
  ASSERT_EQ( 18U, answers.size() );
  ResourceStatus const states[] = {
      { 17.5, ResponseState::hitless }, { 17.5, ResponseState::loaded }, { 18.5, ResponseState::loaded } };
  double own = 100;  // an answer of its own for each, so that a mixed-up pair shows
  for ( Answer const& answer : answers ) {
    SCOPED_TRACE( answer.event );
    for ( ResourceStatus const& state : states ) {
      answer.set( state );
      answer.set( state );
      EXPECT_EQ( state, answer.get() );
      EXPECT_THAT( log->taken(), ElementsAre( answer.event ) );
    }
    answer.set( { ++own, ResponseState::failed } );
    EXPECT_THAT( log->taken(), ElementsAre( answer.event ) );
  }
  own = 100;
  for ( Answer const& answer : answers ) EXPECT_EQ( ++own, answer.get().responseId ) << answer.event;
}

TEST( PDStatus, AFirstAnswerThatEqualsTheInitialOneChangesOnlyThePrefixes ) {
  auto const status = Kiv::make<PDStatus>( Brae::ChipId( 1 ) );
  auto const log = Kiv::make<AnswerLog>( status );
  for ( Answer const& answer : answersOf( *status ) ) answer.set( ResourceStatus() );
  EXPECT_THAT( log->taken(), ElementsAre( "ipv4 src", "ipv4 dst", "ipv6 src", "ipv6 dst" ) );
  PrefixXformKey const key( AddressFamily::ipv6, true );
  for ( int times = 0; times != 2; ++times ) status->pdPrefixXformEntryStatusDel( key );
  for ( int times = 0; times != 2; ++times ) status->pdPrefixXformEntryStatusDelAll();
  for ( auto const control : { GlobalAclControl::doNotApply, GlobalAclControl::denyAll, GlobalAclControl::denyAll } )
    status->globalAclControlIs( control );
  EXPECT_THAT( log->taken(), ElementsAre( "ipv6 src", "all prefixes", "control" ) );
}

class RequestLog : public PDConfig::NotifieeConst {
 public:
  explicit RequestLog( Kiv::Ptr<PDConfig> const& config ) {
    notifierIs( config );
    hasNotificationActiveIs( true );
  }
  void onPrevPDData() override { log.push_back( "previous" ); }
  void onCurrPDData() override { log.push_back( "current" ); }
  void onPdResourceConfig() override { log.push_back( "request" ); }
  void onGlobalAclControl() override { log.push_back( "control" ); }

  Log log;
};

TEST( PDConfig, EveryChangeOfARequestNotifiesOnce ) {
  auto const config = Kiv::make<GlobalPDConfig>()->pdConfigIs( Brae::ChipId( 1 ) );
  auto const requests = Kiv::make<RequestLog>( config );
  auto const data = Kiv::make<PDData>(), other = Kiv::make<PDData>();  // equal, and not the same snapshot
  for ( int times = 0; times != 2; ++times ) {
    config->currPDDataIs( data );
    config->pdResourceConfigIs( { 17.5, RequestState::acquire } );
  }
  config->pdResourceConfigIs( { 17.5, RequestState::load } );
  config->pdResourceConfigIs( { 18.5, RequestState::load } );
  config->prevPDDataIs( nullptr );
  config->prevPDDataIs( data );
  config->currPDDataIs( other );
  config->globalAclControlIs( GlobalAclControl::permitAll );
  config->globalAclControlIs( GlobalAclControl::permitAll );
  EXPECT_THAT( requests->log,
               ElementsAre( "current", "request", "request", "request", "previous", "current", "control" ) );
}

}  // namespace
}  // namespace Orvex
