#include "update/UpdateOrder.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <span>
#include <utility>

namespace Orvex::Host {

namespace {

struct Step {
  UpdateStep writes;
  /// Whether it comes after the removal of rows that it shares values with, which is the step before it in the list.
  bool needsRoom = false;
};

enum class RowKind : std::uint32_t { added, changed, removed };

RowKind kindOf( RowWrite const& write ) {
  return !write.before ? RowKind::added : !write.after ? RowKind::removed : RowKind::changed;
}

/// The rows of one table, by kind.
struct RowSteps {
  std::array<UpdateStep, 3> ofKind;

  UpdateStep& operator[]( RowKind kind ) { return ofKind[Kiv::enumValue( kind )]; }
};

std::uint32_t lengthOf( UpdateWrite const& write ) {
  auto const* const prefix = std::get_if<Vell::IpGenPrefix>( &std::get<RowWrite>( write ).key );
  return prefix ? prefix->length() : 0;
}

std::uint32_t ruleOf( UpdateWrite const& write ) { return std::get<EntryWrite>( write ).rule; }

bool sharesValues( UpdateStep const& ranges, UpdateStep const& others ) {
  auto const rangeOf = []( UpdateWrite const& write ) {
    return std::get<RangeSetElem>( std::get<RowWrite>( write ).key );
  };
  return std::any_of( ranges.begin(), ranges.end(), [&]( UpdateWrite const& one ) {
    return std::any_of( others.begin(), others.end(), [&]( UpdateWrite const& other ) {
      return rangeOf( one ).first() <= rangeOf( other ).last() && rangeOf( other ).first() <= rangeOf( one ).last();
    } );
  } );
}

/// The delta's writes, in the order in which the steps are tried.
std::vector<Step> stepsOf( Delta const& delta ) {
  std::map<LabelTable, RowSteps> rows;
  for ( RowWrite const& write : delta.rows ) rows[write.table][kindOf( write )].emplace_back( write );
  UpdateStep added;
  UpdateStep removed;
  for ( EntryWrite const& write : delta.entries ) ( write.after ? added : removed ).emplace_back( write );
  std::stable_sort( added.begin(), added.end(),
                    []( UpdateWrite const& a, UpdateWrite const& b ) { return ruleOf( a ) < ruleOf( b ); } );
  std::stable_sort( removed.begin(), removed.end(),
                    []( UpdateWrite const& a, UpdateWrite const& b ) { return ruleOf( a ) > ruleOf( b ); } );

  std::vector<Step> steps;
  auto const add = [&steps]( UpdateStep& writes, bool needsRoom = false ) {
    if ( !writes.empty() ) steps.push_back( { std::exchange( writes, {} ), needsRoom } );
  };
  add( added );
  for ( auto& [table, ofTable] : rows ) {
    bool const areRanges = std::holds_alternative<RangeSetType>( table );
    bool const needsRoom = areRanges && sharesValues( ofTable[RowKind::added], ofTable[RowKind::removed] );
    if ( areRanges ) add( ofTable[RowKind::removed] );
    UpdateStep& longestFirst = ofTable[RowKind::added];
    std::stable_sort( longestFirst.begin(), longestFirst.end(),
                      []( UpdateWrite const& a, UpdateWrite const& b ) { return lengthOf( a ) > lengthOf( b ); } );
    add( longestFirst, needsRoom );
  }
  for ( auto& [table, ofTable] : rows ) add( ofTable[RowKind::changed] );
  for ( auto& [table, ofTable] : rows ) {
    UpdateStep& shortestFirst = ofTable[RowKind::removed];
    std::stable_sort( shortestFirst.begin(), shortestFirst.end(),
                      []( UpdateWrite const& a, UpdateWrite const& b ) { return lengthOf( a ) < lengthOf( b ); } );
    add( shortestFirst );
  }
  UpdateStep defaults( delta.defaults.begin(), delta.defaults.end() );
  add( defaults );
  add( removed );
  return steps;
}

class OrderSearch {
 public:
  OrderSearch( std::vector<Step> steps, TableVersion const& before, TableVersion const& after,
               ChipProfile const& profile, Verify::Budget const& budget )
      : steps_( std::move( steps ) ),
        before_( before ),
        after_( after ),
        profile_( profile ),
        shape_( shapeOf( profile ) ),
        budget_( budget ) {}

  UpdateOrder run( TableState const& first ) {
    UpdateOrder order;
    try {
      order.writes = search( 0, first ) ? std::optional( writesOfPath() ) : searchInParts( first );
      if ( !order.writes ) order.reason = "every order that was tried shows some packets something else in between";
    } catch ( Verify::Undecided const& undecided ) {
      bool const isLate = std::chrono::steady_clock::now() - start_ >= budget_.time;
      order.reason = "no order was found: ";
      order.reason += isLate ? "the time is over, " + std::to_string( budget_.time.count() ) + " ms" : undecided.what();
    }
    order.checks = checks_;
    return order;
  }

 private:
  using Done = std::uint64_t;

  UpdateStep writesOfPath() const {
    UpdateStep writes;
    for ( std::size_t const step : path_ )
      writes.insert( writes.end(), steps_[step].writes.begin(), steps_[step].writes.end() );
    return writes;
  }

  static Done bitOf( std::size_t step ) { return Done{ 1 } << step; }

  /// Goes on from a table that is right, after the steps that are done. Fails with: Verify::Undecided.
  bool search( Done done, TableState const& state ) {
    Done const all = bitOf( steps_.size() ) - 1;
    if ( done == all ) return true;
    for ( std::size_t at = 0; at != steps_.size(); ++at ) {
      Done const next = done | bitOf( at );
      bool const hasRoom = !steps_[at].needsRoom || ( done & bitOf( at - 1 ) ) != 0;
      if ( next == done || !hasRoom || !tried_.insert( next ).second ) continue;
      TableState to( state );
      applyAll( steps_[at].writes, to );
      // The last table is the new version's own, which is proved.
      if ( next != all && !( fits( to ) && isRight( steps_[at].writes, state, to ) ) ) continue;
      path_.push_back( at );
      if ( search( next, to ) ) return true;
      path_.pop_back();
    }
    return false;
  }

  /// Part by part: whatever is right is done, until all is done or nothing more is right. Nothing: not all is.
  /// Fails with: Verify::Undecided.
  std::optional<UpdateStep> searchInParts( TableState const& first ) {
    auto state = std::make_unique<TableState>( first );
    std::vector<UpdateStep> left;
    for ( Step const& step : steps_ ) left.push_back( step.writes );
    UpdateStep done;
    checksOfSearch_ = 0;
    for ( std::size_t doneBefore = 0;; doneBefore = done.size() ) {
      for ( UpdateStep& writes : left ) {
        UpdateStep const now = std::exchange( writes, {} );
        doWhatIsRight( now, state, done, writes );
      }
      if ( std::all_of( left.begin(), left.end(), []( UpdateStep const& writes ) { return writes.empty(); } ) )
        return done;
      if ( done.size() == doneBefore ) return std::nullopt;
    }
  }

  /// All of the writes, or else what can be done of either half.
  void doWhatIsRight( std::span<UpdateWrite const> writes, std::unique_ptr<TableState>& state, UpdateStep& done,
                      UpdateStep& later ) {
    if ( writes.empty() ) return;
    UpdateStep const step( writes.begin(), writes.end() );
    auto to = std::make_unique<TableState>( *state );
    applyAll( step, *to );
    if ( hasRoom( step, *state ) && fits( *to ) && isRight( step, *state, *to ) ) {
      state = std::move( to );
      done.insert( done.end(), step.begin(), step.end() );
    } else if ( writes.size() == 1 ) {
      later.push_back( writes.front() );
    } else {
      std::size_t const half = writes.size() / 2;
      doWhatIsRight( writes.first( half ), state, done, later );
      doWhatIsRight( writes.subspan( half ), state, done, later );
    }
  }

  static void applyAll( UpdateStep const& step, TableState& state ) {
    for ( UpdateWrite const& write : step ) std::visit( [&state]( auto const& one ) { state.apply( one ); }, write );
  }

  /// Whether ranges that are added share no value with those that are there.
  static bool hasRoom( UpdateStep const& step, TableState const& state ) {
    auto const* const row = std::get_if<RowWrite>( &step.front() );
    if ( !row || row->before || !std::holds_alternative<RangeSetType>( row->table ) ) return true;
    auto const rows = rowsOf( state.labels(), row->table );
    return std::none_of( step.begin(), step.end(), [&rows]( UpdateWrite const& write ) {
      auto const range = std::get<RangeSetElem>( std::get<RowWrite>( write ).key );
      return std::any_of( rows.begin(), rows.end(), [range]( auto const& each ) {
        auto const& other = std::get<RangeSetElem>( each.first );
        return other.first() <= range.last() && range.first() <= other.last();
      } );
    } );
  }

  bool fits( TableState const& state ) const {
    PerResource const use = state.use();
    return std::all_of( kResources.begin(), kResources.end(),
                        [&]( Resource resource ) { return use[resource] <= profile_.capacities[resource]; } );
  }

  bool isRight( UpdateStep const& step, TableState const& from, TableState const& to ) {
    ++checks_;
    if ( ++checksOfSearch_ > kMostChecks )
      throw Verify::Undecided( "more than " + std::to_string( kMostChecks ) + " tables would have to be looked at" );
    auto const spent =
        std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - start_ );
    Verify::Budget left = budget_;
    left.time -= std::min( left.time, spent );
    return keepsVerdicts( step, from, to, before_.policy, after_.policy, shape_, left );
  }

  std::vector<Step> steps_;
  TableVersion const& before_;
  TableVersion const& after_;
  ChipProfile const& profile_;
  Verify::TableShape shape_;
  Verify::Budget budget_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::set<Done> tried_;
  std::vector<std::size_t> path_;
  std::size_t checks_ = 0;
  std::size_t checksOfSearch_ = 0;
};

}  // namespace

UpdateOrder findUpdateOrder( Delta const& delta, TableVersion const& before, TableVersion const& after,
                             ChipProfile const& profile, Verify::Budget const& budget ) {
  Verify::TableShape const shape = shapeOf( profile );
  TableState const first( before, delta, shape );
  return OrderSearch( stepsOf( delta ), before, after, profile, budget ).run( first );
}

}  // namespace Orvex::Host
