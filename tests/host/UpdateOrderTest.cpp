#include "update/UpdateOrder.h"

#include <gtest/gtest.h>

#include <iostream>

#include "RandomEdit.h"
#include "RandomPolicy.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/SeedRange.h"
#include "host/TestChips.h"
#include "packets/BoundaryPackets.h"
#include "pipeline/Compile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"
#include "verify/Prover.h"

namespace Orvex::Host::Test {

namespace {

using Verify::Packet;

/// Two versions, compiled; the snapshots are null when a chip refuses one.
struct Update {
  Update( ChipProfile chipProfile, Policy oldPolicy, Policy newPolicy )
      : profile( std::move( chipProfile ) ), old( std::move( oldPolicy ) ), now( std::move( newPolicy ) ) {
    oldTable = snapshotOf( old );
    newTable = snapshotOf( now );
    if ( bothFit() ) delta = deltaOf( before(), after(), shape );
  }

  bool bothFit() const { return oldTable && newTable; }
  TableVersion before() const { return { old, *oldTable }; }
  TableVersion after() const { return { now, *newTable }; }
  TableState first() const { return TableState( before(), delta, shape ); }
  UpdateOrder order() const { return findUpdateOrder( delta, before(), after(), profile ); }
  bool keeps( UpdateStep const& step, TableState const& from, TableState const& to ) const {
    return keepsVerdicts( step, from, to, old, now, shape, {} );
  }

  ChipProfile profile;
  Policy old;
  Policy now;
  Verify::TableShape shape = shapeOf( profile );
  Kiv::Ptr<PDData const> oldTable;
  Kiv::Ptr<PDData const> newTable;
  Delta delta;

 private:
  Kiv::Ptr<PDData const> snapshotOf( Policy const& policy ) const {
    SoftwareChip chip( Brae::ChipId( 1 ), profile );
    auto const result = compile( policy, chip );
    return result.outcome == CompileOutcome::loaded ? result.snapshot : nullptr;
  }
};

void apply( TableState& state, UpdateWrite const& write ) {
  std::visit( [&state]( auto const& one ) { state.apply( one ); }, write );
}

/// The slow judge: packets at the boundaries of both versions that both treat alike, and what they must see.
class Witnesses {
 public:
  Witnesses( Update const& update, Random& random, int packetsAnAcl ) : update_( update ) {
    for ( Policy const* const policy : { &update.old, &update.now } )
      for ( Acl const& acl : policy->acls ) {
        BoundaryPackets packets( random, acl );
        for ( int count = 0; count != packetsAnAcl; ++count ) add( acl, packets.next() );
      }
  }

  bool allSeeTheSame( TableState const& state ) const {
    return std::all_of( packets_.begin(), packets_.end(), [&]( Watched const& each ) {
      auto const key = keyOf( state.labels(), update_.shape, each.packet );
      for ( auto const& [place, action] : state.entries( each.acl ) )
        if ( Verify::matches( place.entry, key ) ) return action == each.action;
      return actionOf( state.onMiss( each.acl ) ) == each.action;
    } );
  }

 private:
  struct Watched {
    PDAclKey acl;
    Packet packet;
    OrvexActionValue action;
  };

  static OrvexActionValue actionIn( Policy const& policy, Acl const& asked, Packet const& packet ) {
    for ( Acl const& acl : policy.acls )
      if ( acl.family == asked.family && acl.name == asked.name ) return interpret( acl, packet ).action;
    return actionOf( DefaultAction::deny );
  }
  void add( Acl const& acl, Packet const& packet ) {
    OrvexActionValue const action = actionIn( update_.old, acl, packet );
    if ( action == actionIn( update_.now, acl, packet ) )
      packets_.push_back( { PDAclKey( acl.family, libraryAclName( acl.family, acl.name ) ), packet, action } );
  }

  Update const& update_;
  std::vector<Watched> packets_;
};

Update randomUpdate( Random& random ) {
  RandomPolicyOptions options;
  options.aclsPerFamily = 1;
  options.maxRules = 8;
  Policy const old = randomPolicy( random, options );
  Policy const now = edited( random, old, randomPolicy( random, options ) );
  auto const shapes = chipShapes();
  return Update( random.oneOf( shapes ), old, now );
}

/// Nothing else is left to write.
void expectIsNewVersion( Update const& update, TableState const& state ) {
  for ( LabelTable const& table : tablesOf( update.shape ) )
    EXPECT_EQ( rowsOf( *update.newTable, table ), rowsOf( state.labels(), table ) );
  for ( auto const& [acl, counts] : update.delta.acls ) {
    AclEntries entries;
    for ( auto const& [place, action] : state.entries( acl ) ) entries[{ place.rule, place.entry }] = action;
    EXPECT_EQ( entriesOf( *update.newTable, acl ), entries );
    DefaultActions const defaults = defaultActionsOf( update.now );
    EXPECT_EQ( defaults.contains( acl ) ? defaults.at( acl ) : DefaultAction::deny, state.onMiss( acl ) );
  }
}

/// Writes in any order, until one is said to be wrong. True when packets show it too.
bool packetsShowWhatIsWrong( Update const& update, Witnesses const& witnesses, Random& random ) {
  std::vector<UpdateWrite> writes( update.delta.rows.begin(), update.delta.rows.end() );
  writes.insert( writes.end(), update.delta.entries.begin(), update.delta.entries.end() );
  writes.insert( writes.end(), update.delta.defaults.begin(), update.delta.defaults.end() );
  random.shuffle( writes );
  TableState state = update.first();
  for ( UpdateWrite const& write : writes ) {
    TableState next( state );
    apply( next, write );
    try {
      if ( !update.keeps( { write }, state, next ) ) return !witnesses.allSeeTheSame( next );
    } catch ( Verify::Undecided const& ) {
      return false;  // two ranges share a value
    }
    EXPECT_TRUE( witnesses.allSeeTheSame( next ) );
    apply( state, write );
  }
  return false;
}

}  // namespace

/// An eighth of the pairs each, so that none takes long under a sanitizer.
class UpdateOrders : public testing::TestWithParam<std::uint64_t> {};
INSTANTIATE_TEST_SUITE_P( Eighths, UpdateOrders, testing::Range( std::uint64_t{ 0 }, std::uint64_t{ 8 } ) );

/// Every single write is proved, beyond the steps that the order rests on, and tried with packets.
TEST_P( UpdateOrders, KeepAtEveryWriteWhatBothVersionsTreatAlike ) {
  SeedRange seeds = seedRange( 145 );
  seeds.first += GetParam() * seeds.count;
  std::size_t changed = 0;
  std::size_t ordered = 0;
  std::size_t writes = 0;
  std::size_t shown = 0;
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    Update const update = randomUpdate( random );
    if ( !update.bothFit() || update.delta.isEmpty() ) continue;
    ++changed;
    Witnesses const witnesses( update, random, 30 );
    shown += packetsShowWhatIsWrong( update, witnesses, random ) ? 1 : 0;
    UpdateOrder const order = update.order();
    ASSERT_NE( order.writes.has_value(), !order.reason.empty() );
    if ( !order.writes ) continue;
    ++ordered;
    writes += order.writes->size();
    TableState state = update.first();
    for ( UpdateWrite const& write : *order.writes ) {
      TableState next( state );
      apply( next, write );
      ASSERT_TRUE( update.keeps( { write }, state, next ) );
      ASSERT_TRUE( witnesses.allSeeTheSame( next ) );
      apply( state, write );
    }
    expectIsNewVersion( update, state );
  }
  std::cout << changed << " of " << seeds.count << " pairs have different tables, " << ordered
            << " of these an order, of " << writes << " writes; packets show what is wrong in " << shown
            << " other orders\n";
  EXPECT_GT( ordered, changed / 2 );
  EXPECT_GT( shown, changed / 10 );
}

/// Two labels change places. A row that is written before the other shares its label, and no entry can tell them apart.
TEST( UpdateOrder, LabelsThatChangePlacesHaveNoOrder ) {
  Policy const policy = normalised( { { acl( "ipv4 edge", { rule( 10, "dport 80" ), rule( 11, "dport 443" ) } ) } } );
  ChipProfile profile = plainChip();
  profile.ranges[Field::dport] = { 2, 0 };
  Update const update( profile, policy, policy );
  ASSERT_TRUE( update.bothFit() && update.delta.isEmpty() );
  auto const swapped = Kiv::make<PDData>();
  auto const acls = Kiv::make<PDAclColl>();
  auto const other = []( EncodedLabel label ) {
    return EncodedLabel( static_cast<std::uint16_t>( 3 - label.value() ) );
  };
  for ( auto const& [range, row] : update.oldTable->rangeEntryColl( RangeSetType::dstPort )->entry() )
    swapped->rangeEntryColl( RangeSetType::dstPort )->entryIs( { range, other( row.value ) } );
  PDAclKey const edge( Vell::AddressFamily::ipv4, "ipv4/edge" );
  for ( auto const& [index, rule] : update.oldTable->pdAclColl()->pdAcl().find( edge )->rule() ) {
    PDAclFilter entry = *rule->filter().begin();
    entry.dport = { other( entry.dport.label ), LabelMask( 3 ) };
    acls->pdAclIs( edge )->ruleIs( index )->filterIs( entry );
    acls->pdAclIs( edge )->ruleIs( index )->actionIs( rule->action() );
  }
  swapped->pdAclCollIs( acls );
  ASSERT_TRUE( Verify::prove( policy, *swapped, update.shape, defaultActionsOf( policy ) ).isProved() );
  Delta const delta = deltaOf( update.before(), { policy, *swapped }, update.shape );
  EXPECT_FALSE( findUpdateOrder( delta, update.before(), { policy, *swapped }, profile ).writes );
}

}  // namespace Orvex::Host::Test
