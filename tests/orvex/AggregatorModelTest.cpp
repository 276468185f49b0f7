/// The aggregator against its model, under random edits of a policy.

#include <gtest/gtest.h>

#include <random>

#include "orvex/AggregatorModel.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Aggregator;
using Test::AggregatorModel;
using Test::TraceLines;

constexpr auto kSuccess = StageStatusType::finishedSuccess;
constexpr auto kSkipped = StageStatusType::finishedSkipped;
constexpr auto kFailed = StageStatusType::finishedFailed;

/// Random edits of a policy, of which the model hears only what lists have changed.
class RandomPolicy {
 public:
  RandomPolicy( std::uint32_t seed, AclConfigColl& policy, AggregatorModel& model )
      : random_( seed ), policy_( policy ), model_( model ) {
    for ( std::size_t i = 0; i != kSharedLists; ++i ) shared_.push_back( newList( i % 2 == 0 ) );
  }

  std::uint32_t below( std::uint32_t bound ) { return static_cast<std::uint32_t>( random_() % bound ); }

  void edit() {
    auto const acl = policy_.aclIs( anyAclName() );
    Kiv::String const name = std::string( 1, static_cast<char>( 'a' + below( 6 ) ) );
    if ( !acl->ruleByNameHas( name ) ) return addRule( *acl, name );
    auto const rule = acl->ruleByNameIs( name );
    auto& filter = *rule->ruleFilterIs();
    bool const ipv4 = acl->name() < Kiv::String( "v6" );
    switch ( below( 12 ) ) {
      case 0:
        return below( 4 ) == 0 ? policy_.aclDel( acl->name() ) : acl->ruleByNameDel( name );
      case 1:
        return renew( *rule, ipv4 );
      case 2:
        return rule->actionIs( drop( below( 2 ) == 0 ) );
      case 3:
        acl->ruleByIdDel( AceIndex( below( 20 ) ) );
        return;
      case 4:
        acl->ruleByIdIs( AceIndex( below( 20 ) ), rule );
        return;
      case 5:
        return editList( *shared_[below( kSharedLists )] );
      case 6:
        shared_[below( 2 ) * 2 + ( ipv4 ? 0 : 1 )] = newList( ipv4 );
        return;
      case 7:
        return filter.matchTcpInitIs( below( 2 ) == 0 );
      case 8:
        return filter.dportRangeDelAll();
      case 9:
        return setLists( filter, ipv4 );
      default:
        return addRanges( filter );
    }
  }

  /// Makes one rule wrong, mostly; `renew` puts it right.
  Kiv::Ptr<RuleConfig> spoil( bool& ipv4 ) {
    auto const acl = policy_.aclIs( anyAclName() );
    ipv4 = acl->name() < Kiv::String( "v6" );
    auto const rule = acl->ruleByNameIs( "spoilt" );
    renew( *rule, ipv4 );
    switch ( below( 3 ) ) {
      case 0:
        rule->ruleFilterDel();
        break;
      case 1:
        Test::addRange( *rule->ruleFilterIs(), anyField(), { 9, 8 } );
        break;
      default:
        rule->ruleFilterIs()->destinationIs( newList( !ipv4 ) );
        break;
    }
    return rule;
  }

  void renew( RuleConfig& rule, bool ipv4 ) {
    rule.ruleFilterDel();
    auto& filter = *rule.ruleFilterIs();
    setLists( filter, ipv4 );
    addRanges( filter );
  }

 private:
  static constexpr std::uint32_t kSharedLists = 6;

  Kiv::String anyAclName() {
    static char const* const kNames[] = { "v4 a", "v4 b", "v6 a", "v6 b" };
    return kNames[below( 4 )];
  }
  RangeSetType anyField() { return static_cast<RangeSetType>( below( Test::kRangeFieldCount ) ); }
  static OrvexActionValue drop( bool on ) {
    OrvexActionValue action;
    action.dropEnabled = on;
    return action;
  }

  void addRule( AclConfig& acl, Kiv::String const& name ) {
    auto const rule = acl.ruleByNameIs( name );
    renew( *rule, acl.name() < Kiv::String( "v6" ) );
    acl.ruleByIdIs( AceIndex( below( 20 ) ), rule );
  }

  Vell::IpGenPrefix anyPrefix( bool ipv4 ) {
    std::uint32_t const length = 4 + below( 4 );
    if ( ipv4 ) return { below( 16 ) << 24, length };
    return { Vell::Ip6Addr( std::uint64_t{ below( 16 ) } << 56, 0 ), length };
  }

  Kiv::Ptr<IpPrefixList> newList( bool ipv4 ) {
    auto const list = Kiv::make<IpPrefixList>();
    for ( std::uint32_t i = 0; i <= below( 3 ); ++i ) list->addrIs( anyPrefix( ipv4 ) );
    model_.listChanged( *list );
    return list;
  }

  /// Adds a prefix, and takes another out where the list does not become empty.
  void editList( IpPrefixList& list ) {
    Vell::IpGenPrefix const present = *list.addr().begin();
    Vell::IpGenPrefix const newcomer = anyPrefix( present.af() == Vell::AddressFamily::ipv4 );
    if ( list.addrHas( newcomer ) ) return;
    list.addrIs( newcomer );
    if ( below( 2 ) == 0 ) list.addrDel( present );
    if ( below( 2 ) == 0 ) list.exceptAddrIs( newcomer );
    model_.listChanged( list );
  }

  Kiv::Ptr<IpPrefixList> anyList( bool ipv4 ) {
    return below( 4 ) == 0 ? newList( ipv4 ) : shared_[2 * below( kSharedLists / 2 ) + ( ipv4 ? 0 : 1 )];
  }

  void setLists( RuleFilter& filter, bool ipv4 ) {
    filter.sourceIs( below( 3 ) == 0 ? nullptr : anyList( ipv4 ) );
    filter.destinationIs( below( 3 ) == 0 ? nullptr : anyList( ipv4 ) );
  }

  void addRanges( RuleFilter& filter ) {
    for ( std::uint32_t count = below( 4 ); count != 0; --count ) {
      std::uint32_t const first = below( 4 );
      Test::addRange( filter, anyField(), { first, first + below( 3 ) } );
    }
  }

  std::mt19937 random_;
  AclConfigColl& policy_;
  AggregatorModel& model_;
  std::vector<Kiv::Ptr<IpPrefixList>> shared_;  // IPv4 at even places, IPv6 at odd ones
};

/// Kicks the stage and the model, and holds the one against the other.
StageStatusType kickBoth( Aggregator& aggregator, AggregatorModel& model ) {
  TraceLines const failures( 0 );
  StageStatusType const want = model.kick();
  EXPECT_EQ( want, aggregator.kick() );
  EXPECT_EQ( model.lines, aggregator.lines() );
  EXPECT_EQ( want == kFailed ? 1U : model.deletedRules, failures.lines.size() );
  if ( want == kFailed ) {
    EXPECT_LE( model.lastKey, aggregator.keys->genKey() );
    model.lastKey = aggregator.keys->genKey();
  }
  EXPECT_EQ( model.lastKey, aggregator.keys->genKey() );
  return want;
}

TEST( AggregatorModel, TheStageAgreesAfterEveryEdit ) {
  std::map<StageStatusType, int> kicks;
  for ( std::uint32_t seed = 1; seed <= 64 && !testing::Test::HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Aggregator aggregator;
    for ( std::uint32_t type = 0; type != 3; ++type )
      if ( ( seed >> type & 1U ) != 0 )
        aggregator.capability->comboEncodingAttrIs( static_cast<ComboLabelSetType>( type ), EncodingAttr() );
    AggregatorModel model( aggregator.policy, aggregator.capability );
    RandomPolicy policy( seed, *aggregator.policy, model );
    for ( int round = 0; round != 40 && !testing::Test::HasFailure(); ++round ) {
      SCOPED_TRACE( testing::Message() << "round " << round );
      for ( auto edits = policy.below( 5 ); edits != 0; --edits ) policy.edit();
      ++kicks[kickBoth( aggregator, model )];
      if ( policy.below( 6 ) != 0 ) continue;
      bool ipv4 = false;
      auto const spoilt = policy.spoil( ipv4 );
      for ( int again = 0; again != 2; ++again ) ++kicks[kickBoth( aggregator, model )];
      policy.renew( *spoilt, ipv4 );
      ++kicks[kickBoth( aggregator, model )];
    }
  }
  for ( auto const status : { kSuccess, kSkipped, kFailed } ) EXPECT_LT( 200, kicks[status] );
}

}  // namespace
}  // namespace Orvex
