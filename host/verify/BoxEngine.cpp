#include "verify/BoxEngine.h"

#include <algorithm>

#include "Kiv/Value.h"

namespace Orvex::Verify {

void Spending::spend( AtomSets const& sets ) {
  if ( ++boxes_ > budget_.boxes )
    throw Undecided( "more than " + std::to_string( budget_.boxes ) + " boxes would be needed" );
  step( sets );
}

void Spending::step( AtomSets const& sets ) {
  constexpr std::uint64_t kStepsBetweenLooksAtTheClock = 256;
  if ( sets.bytes() > budget_.bytes )
    throw Undecided( "more than " + std::to_string( budget_.bytes ) + " bytes of sets would be needed" );
  if ( ++steps_ % kStepsBetweenLooksAtTheClock == 0 && std::chrono::steady_clock::now() - start_ > budget_.time )
    throw Undecided( "more than " + std::to_string( budget_.time.count() ) + " ms would be needed" );
}

bool BoxEngine::overlap( Box const& a, Box const& b ) {
  for ( std::size_t dimension = 0; dimension != kDimensions; ++dimension )
    if ( sets_.disjoint( a[dimension], b[dimension] ) ) return false;
  return true;
}

bool BoxEngine::contains( Box const& outer, Box const& inner ) {
  for ( std::size_t dimension = 0; dimension != kDimensions; ++dimension )
    if ( !sets_.contains( outer[dimension], inner[dimension] ) ) return false;
  return true;
}

Box BoxEngine::intersection( Box const& a, Box const& b ) {
  Box both{};
  for ( std::size_t dimension = 0; dimension != kDimensions; ++dimension )
    both[dimension] = sets_.intersection( a[dimension], b[dimension] );
  return both;
}

std::optional<Box> BoxEngine::uncovered( Box const& box, std::span<Box const> covers,
                                         std::span<Box const> moreCovers ) {
  if ( !overlap( box, box ) ) return std::nullopt;
  spending_.spend( sets_ );
  std::vector<Box const*> overlapping;
  for ( auto const& some : { covers, moreCovers } )
    for ( Box const& cover : some ) {
      if ( !overlap( box, cover ) ) continue;
      if ( contains( cover, box ) ) return std::nullopt;
      overlapping.push_back( &cover );
    }
  std::vector<Left> left = { { box, 0 } };
  while ( !left.empty() ) {
    Left const last = left.back();
    left.pop_back();
    spending_.spend( sets_ );
    auto const from = overlapping.begin() + static_cast<std::ptrdiff_t>( last.next );
    if ( std::any_of( from, overlapping.end(), [&]( Box const* cover ) { return contains( *cover, last.box ); } ) )
      continue;
    auto const cover =
        std::find_if( from, overlapping.end(), [&]( Box const* other ) { return overlap( *other, last.box ); } );
    if ( cover == overlapping.end() ) return last.box;
    subtract( { last.box, static_cast<std::size_t>( cover - overlapping.begin() ) + 1 }, **cover, left );
  }
  return std::nullopt;
}

void BoxEngine::subtract( Left const& left, Box const& cover, std::vector<Left>& rest ) {
  Left inside = left;
  for ( std::size_t dimension = 0; dimension != kDimensions; ++dimension ) {
    AtomSets::Id const outside = sets_.difference( inside.box[dimension], cover[dimension] );
    if ( outside == AtomSets::kEmpty ) continue;
    rest.push_back( inside );
    rest.back().box[dimension] = outside;
    inside.box[dimension] = sets_.intersection( inside.box[dimension], cover[dimension] );
  }
}

// Policy against policy

namespace {

/// An ACL's rules in order as boxes, and its default action as a last rule that everything matches.
struct AclBoxes {
  AclBoxes( Host::Acl const& acl, PacketSpace& space ) {
    for ( Host::Rule const& rule : acl.rules ) {
      boxes.push_back( space.boxOf( rule ) );
      verdicts.push_back( { rule.index, rule.action } );
    }
    boxes.push_back( space.all() );
    verdicts.push_back( { std::nullopt, actionOf( acl.defaultAction ) } );
  }
  std::span<Box const> before( std::size_t at ) const { return { boxes.data(), at }; }

  std::vector<Box> boxes;
  std::vector<Verdict> verdicts;
};

void compare( Host::Acl const& a, Host::Acl const& b, Spending& spending, std::vector<Disagreement>& found ) {
  if ( a == b ) return;
  AtomSets sets;
  PacketSpace space( a.family, sets );
  space.cutAt( a );
  space.cutAt( b );
  space.settle();
  AclBoxes const inA( a, space );
  AclBoxes const inB( b, space );
  BoxEngine engine( sets, spending );
  for ( std::size_t atA = 0; atA != inA.boxes.size(); ++atA )
    for ( std::size_t atB = 0; atB != inB.boxes.size(); ++atB ) {
      if ( found.size() == kDisagreements ) return;
      if ( inA.verdicts[atA].action == inB.verdicts[atB].action ) continue;
      if ( !engine.overlap( inA.boxes[atA], inB.boxes[atB] ) ) continue;
      Box const both = engine.intersection( inA.boxes[atA], inB.boxes[atB] );
      auto const box = engine.uncovered( both, inA.before( atA ), inB.before( atB ) );
      if ( box )
        found.push_back( { a.family, a.name, space.packetIn( *box ), inA.verdicts[atA], inB.verdicts[atB],
                           space.regionOf( *box ) } );
    }
}

/// Null: none.
Host::Acl const* aclLike( Host::Policy const& policy, Host::Acl const& other ) {
  auto const acl = std::find_if( policy.acls.begin(), policy.acls.end(), [&]( Host::Acl const& candidate ) {
    return candidate.family == other.family && candidate.name == other.name;
  } );
  return acl == policy.acls.end() ? nullptr : &*acl;
}

/// An ACL that the second policy does not have; empty: it has all.
std::string aclThatIsMissing( Host::Policy const& a, Host::Policy const& b, std::string const& which ) {
  for ( Host::Acl const& acl : a.acls )
    if ( !aclLike( b, acl ) )
      return "only the " + which + " policy has " + std::string( Kiv::stringValue( acl.family ) ) + " ACL " + acl.name;
  return {};
}

}  // namespace

PolicyComparison equal( Host::Policy const& a, Host::Policy const& b, Budget const& budget ) {
  PolicyComparison result;
  Spending spending( budget );
  result.reason = aclThatIsMissing( a, b, "first" );
  if ( result.reason.empty() ) result.reason = aclThatIsMissing( b, a, "second" );
  bool differ = !result.reason.empty();
  try {
    for ( Host::Acl const& acl : a.acls )
      if ( Host::Acl const* const other = aclLike( b, acl ) ) compare( acl, *other, spending, result.disagreements );
    differ = differ || !result.disagreements.empty();
    result.outcome = differ ? Outcome::different : Outcome::equal;
  } catch ( Undecided const& undecided ) {
    differ = differ || !result.disagreements.empty();
    result.outcome = differ ? Outcome::different : Outcome::undecided;
    if ( result.reason.empty() ) result.reason = undecided.what();
  }
  result.boxes = spending.boxes();
  return result;
}

}  // namespace Orvex::Verify
