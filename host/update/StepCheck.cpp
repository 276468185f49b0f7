#include "update/StepCheck.h"

#include <algorithm>
#include <set>

#include "policy/AclConfigBuilder.h"
#include "verify/KeyTables.h"

namespace Orvex::Host {

namespace {

using Verify::Box;
using Verify::Interval;
using Verify::Stretch;

/// Boxes in the order in which they are tried, and what each does.
struct Deciders {
  std::vector<Box> boxes;
  std::vector<OrvexActionValue> actions;

  void add( Box const& box, OrvexActionValue const& action ) {
    boxes.push_back( box );
    actions.push_back( action );
  }
  std::span<Box const> before( std::size_t at ) const { return { boxes.data(), at }; }
};

std::vector<Stretch> stretchesIn( PDData const& labels, PrefixXformKey space, std::uint16_t invalid ) {
  std::vector<Verify::PrefixValue> prefixes;
  for ( auto const& [key, label] : rowsOf( labels, space ) )
    prefixes.push_back( { std::get<Vell::IpGenPrefix>( key ), label } );
  return Verify::stretchesOf( prefixes, invalid );
}

/// The atoms at which two divisions of the same addresses have different values.
std::vector<Interval> differingAtoms( std::vector<Stretch> const& a, std::vector<Interval> const& atomsOfA,
                                      std::vector<Stretch> const& b, std::vector<Interval> const& atomsOfB ) {
  std::vector<Interval> differing;
  for ( std::size_t inA = 0, inB = 0; inA != a.size() && inB != b.size(); ) {
    Interval const both{ std::max( atomsOfA[inA].first, atomsOfB[inB].first ),
                         std::min( atomsOfA[inA].last, atomsOfB[inB].last ) };
    if ( a[inA].value != b[inB].value ) differing.push_back( both );
    std::uint32_t const last = both.last;
    if ( atomsOfA[inA].last == last ) ++inA;
    if ( atomsOfB[inB].last == last ) ++inB;
  }
  return differing;
}

EncodedLabelWithMask exactly( EncodedLabel label ) { return { label, LabelMask( 0xFFFF ) }; }

Verify::Projections projectionsOf( PDAclFilter const& entry ) {
  Verify::Projections lists;
  for ( std::size_t field = 0; field != Verify::kEntryFields; ++field )
    lists[field] = { entry.*Verify::kEntryMembers[field] };
  return lists;
}

/// One family's packets, which the step concerns.
class FamilyCheck {
 public:
  FamilyCheck( Vell::AddressFamily family, UpdateStep const& step, TableState const& from, TableState const& to,
               Policy const& before, Policy const& after, Verify::TableShape const& shape, Verify::Spending& spending )
      : family_( family ),
        step_( step ),
        to_( to ),
        before_( before ),
        after_( after ),
        shape_( shape ),
        spending_( spending ),
        space_( family, sets_ ),
        engine_( sets_, spending ) {
    for ( Policy const* const policy : { &before, &after } )
      for ( Acl const& acl : policy->acls )
        if ( acl.family == family ) space_.cutAt( acl );
    if ( auto const* const space = prefixSpace() ) {
      stretchesFrom_ = stretchesIn( from.labels(), *space, shape.prefix( *space ).invalid );
      space_.cutAt( dimensionOf( *space ), stretchesFrom_ );
    }
    tables_.emplace( to.labels(), shape, space_, spending );
  }

  bool holds() {
    std::set<PDAclKey> acls;
    for ( Policy const* const policy : { &before_, &after_ } )
      for ( Acl const& acl : policy->acls )
        if ( acl.family == family_ ) acls.insert( keyOf( acl ) );
    return std::all_of( acls.begin(), acls.end(), [this]( PDAclKey const& acl ) { return holds( acl ); } );
  }

 private:
  static PDAclKey keyOf( Acl const& acl ) { return { acl.family, libraryAclName( acl.family, acl.name ) }; }
  static std::size_t dimensionOf( PrefixXformKey space ) {
    return space.src() ? Verify::kSourceDimension : Verify::kDestinationDimension;
  }
  /// The space whose rows are written; null when others are.
  PrefixXformKey const* prefixSpace() const {
    auto const* const row = std::get_if<RowWrite>( &step_.front() );
    return row ? std::get_if<PrefixXformKey>( &row->table ) : nullptr;
  }

  // What the step touches

  std::vector<Box> touched( PDAclKey const& acl ) {
    if ( auto const* const row = std::get_if<RowWrite>( &step_.front() ) ) return touchedByRows( row->table );
    std::vector<Box> boxes;
    for ( UpdateWrite const& write : step_ ) {
      auto const* const entry = std::get_if<EntryWrite>( &write );
      if ( entry && entry->acl == acl ) {
        auto const some = tables_->boxesOf( projectionsOf( entry->entry ) );
        boxes.insert( boxes.end(), some.begin(), some.end() );
      }
      auto const* const onMiss = std::get_if<DefaultWrite>( &write );
      if ( onMiss && onMiss->acl == acl ) boxes.push_back( space_.all() );
    }
    return boxes;
  }

  std::vector<Box> touchedByRows( LabelTable const& table ) {
    if ( auto const* const type = std::get_if<ComboLabelSetType>( &table ) ) return touchedPairs( *type );
    Box box = space_.all();
    if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) {
      auto const stretches = stretchesIn( to_.labels(), *space, shape_.prefix( *space ).invalid );
      auto const& atoms = space_.addresses( dimensionOf( *space ) );
      box[dimensionOf( *space )] = sets_.idOf(
          differingAtoms( stretchesFrom_, atoms.atomsOf( stretchesFrom_ ), stretches, atoms.atomsOf( stretches ) ) );
      return { box };
    }
    Field const field = kFields[Kiv::enumValue( std::get<RangeSetType>( table ) )];
    std::vector<Interval> values;
    for ( UpdateWrite const& write : step_ ) {
      auto const range = std::get<RangeSetElem>( std::get<RowWrite>( write ).key );
      if ( range.first() <= maximumOf( field ) )
        values.push_back( { range.first(), std::min<std::uint32_t>( range.last(), maximumOf( field ) ) } );
    }
    box[Verify::dimensionOf( field )] = sets_.idOf( std::move( values ) );
    return { box };
  }

  std::vector<Box> touchedPairs( ComboLabelSetType type ) {
    bool const isOfPorts = type == ComboLabelSetType::srcDstL4Port;
    std::vector<Box> boxes;
    for ( UpdateWrite const& write : step_ ) {
      auto const pair = std::get<EncodedComboLabel>( std::get<RowWrite>( write ).key );
      PDAclFilter labels;
      ( isOfPorts ? labels.sport : labels.source ) = exactly( pair.srcLabel );
      ( isOfPorts ? labels.dport : labels.destination ) = exactly( pair.dstLabel );
      auto const some = tables_->boxesOf( projectionsOf( labels ) );
      boxes.insert( boxes.end(), some.begin(), some.end() );
    }
    return boxes;
  }

  // What is done with it

  bool holds( PDAclKey const& acl ) {
    std::vector<Box> const regions = touched( acl );
    if ( regions.empty() ) return true;
    Deciders table;
    for ( auto const& [place, action] : to_.entries( acl ) )
      for ( Box const& box : tables_->boxesOf( projectionsOf( place.entry ) ) ) table.add( box, action );
    table.add( space_.all(), actionOf( to_.onMiss( acl ) ) );
    Deciders const old = decidersOf( before_, acl );
    Deciders const now = decidersOf( after_, acl );
    return std::all_of( regions.begin(), regions.end(), [&]( Box const& region ) {
      return holdsIn( region, within( region, table ), within( region, old ), within( region, now ) );
    } );
  }

  Deciders decidersOf( Policy const& policy, PDAclKey const& key ) {
    Deciders deciders;
    DefaultAction onMiss = DefaultAction::deny;
    for ( Acl const& acl : policy.acls ) {
      if ( keyOf( acl ) != key ) continue;
      for ( Rule const& rule : acl.rules ) deciders.add( space_.boxOf( rule ), rule.action );
      onMiss = acl.defaultAction;
    }
    deciders.add( space_.all(), actionOf( onMiss ) );
    return deciders;
  }

  /// Those that decide something in the region: up to the first that has all of it.
  Deciders within( Box const& region, Deciders const& deciders ) {
    Deciders some;
    for ( std::size_t at = 0; at != deciders.boxes.size(); ++at ) {
      spending_.step( sets_ );
      if ( !engine_.overlap( region, deciders.boxes[at] ) ) continue;
      some.add( engine_.intersection( region, deciders.boxes[at] ), deciders.actions[at] );
      if ( some.boxes.back() == region ) break;
    }
    return some;
  }

  bool holdsIn( Box const& region, Deciders const& table, Deciders const& old, Deciders const& now ) {
    if ( !engine_.overlap( region, region ) ) return true;
    for ( std::size_t inTable = 0; inTable != table.boxes.size(); ++inTable )
      for ( std::size_t inOld = 0; inOld != old.boxes.size(); ++inOld ) {
        if ( table.actions[inTable] == old.actions[inOld] ||
             !engine_.overlap( table.boxes[inTable], old.boxes[inOld] ) )
          continue;
        Box const both = engine_.intersection( table.boxes[inTable], old.boxes[inOld] );
        for ( std::size_t inNew = 0; inNew != now.boxes.size(); ++inNew ) {
          spending_.step( sets_ );
          if ( old.actions[inOld] != now.actions[inNew] || !engine_.overlap( both, now.boxes[inNew] ) ) continue;
          std::vector<Box> covers( old.boxes.begin(), old.boxes.begin() + static_cast<std::ptrdiff_t>( inOld ) );
          covers.insert( covers.end(), now.boxes.begin(), now.boxes.begin() + static_cast<std::ptrdiff_t>( inNew ) );
          if ( engine_.uncovered( engine_.intersection( both, now.boxes[inNew] ), table.before( inTable ), covers ) )
            return false;
        }
      }
    return true;
  }

  Vell::AddressFamily family_;
  UpdateStep const& step_;
  TableState const& to_;
  Policy const& before_;
  Policy const& after_;
  Verify::TableShape const& shape_;
  Verify::Spending& spending_;
  Verify::AtomSets sets_;
  Verify::PacketSpace space_;
  Verify::BoxEngine engine_;
  std::vector<Stretch> stretchesFrom_;
  std::optional<Verify::KeyTables> tables_;
};

/// Whether the family's packets can see the step.
bool concerns( UpdateStep const& step, Vell::AddressFamily family ) {
  return std::any_of( step.begin(), step.end(), [family]( UpdateWrite const& write ) {
    if ( auto const* const entry = std::get_if<EntryWrite>( &write ) ) return entry->acl.af == family;
    if ( auto const* const onMiss = std::get_if<DefaultWrite>( &write ) ) return onMiss->acl.af == family;
    LabelTable const& table = std::get<RowWrite>( write ).table;
    if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) return space->af() == family;
    auto const* const type = std::get_if<ComboLabelSetType>( &table );
    return !type || *type == ComboLabelSetType::srcDstL4Port ||
           ( *type == ComboLabelSetType::ipv4SrcDstPrefix ) == ( family == Vell::AddressFamily::ipv4 );
  } );
}

}  // namespace

bool keepsVerdicts( UpdateStep const& step, TableState const& from, TableState const& to, Policy const& before,
                    Policy const& after, Verify::TableShape const& shape, Verify::Budget const& budget ) {
  Verify::Spending spending( budget );
  auto const families = { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 };
  return std::all_of( families.begin(), families.end(), [&]( Vell::AddressFamily family ) {
    return !concerns( step, family ) || FamilyCheck( family, step, from, to, before, after, shape, spending ).holds();
  } );
}

}  // namespace Orvex::Host
