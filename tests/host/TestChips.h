#pragma once

/// Profiles for tests: four shapes that differ in which tables are on, all with room for what random policies take.

#include <string>
#include <vector>

#include "chip/ChipProfile.h"

namespace Orvex::Host::Test {

/// Labels of 16 bits for addresses and no other table; the default of a profile that a test alters.
inline ChipProfile plainChip( std::string name = "plain" ) {
  ChipProfile profile;
  profile.name = std::move( name );
  for ( PrefixXformKey const space : kPrefixSpaces ) profile.prefix( space ).widthBits = 16;
  for ( Resource const resource : kResources ) profile.capacities[resource] = kUnlimited;
  return profile;
}

inline std::vector<ChipProfile> chipShapes() {
  ChipProfile const raw = plainChip( "raw" );
  ChipProfile ranges = plainChip( "ranges" );
  for ( Field const field : kFields ) ranges.ranges[field] = { 8, 255 };
  ChipProfile combined = ranges;
  combined.name = "combined";
  for ( ComboLabelSetType const type : kCombos ) combined.combo( type ) = { 16, 1 };
  ChipProfile mixed = plainChip( "mixed" );
  mixed.prefix( kPrefixSpaces[0] ) = { 10, 1023 };
  mixed.prefix( kPrefixSpaces[3] ) = { 9, 7 };
  mixed.ranges[Field::dport] = { 7, 3 };
  mixed.ranges[Field::ttl] = { 5, 0 };
  mixed.combo( ComboLabelSetType::ipv6SrcDstPrefix ) = { 15, 0 };
  return { raw, ranges, combined, mixed };
}

}  // namespace Orvex::Host::Test
