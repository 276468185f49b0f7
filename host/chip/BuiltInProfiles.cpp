#include "chip/BuiltInProfiles.h"

#include <algorithm>

namespace Orvex::Host {

namespace {

/// Widths of one chip: of all prefix labels, of the labels of ports and of other fields, and of combinations.
struct Widths {
  std::uint64_t prefix;
  std::uint64_t port;
  std::uint64_t otherField;
  std::uint64_t combo;
};

void setWidths( ChipProfile& profile, Widths const& widths ) {
  for ( PrefixXformKey const space : kPrefixSpaces ) profile.prefix( space ).widthBits = widths.prefix;
  for ( Field const field : kFields )
    profile.ranges[field].widthBits = field == Field::sport || field == Field::dport ? widths.port : widths.otherField;
  for ( ComboLabelSetType const type : kCombos ) profile.combo( type ).widthBits = widths.combo;
}

void setCapacities( ChipProfile& profile, std::uint64_t rules, std::uint64_t prefixes, std::uint64_t ranges,
                    std::uint64_t combos ) {
  profile.capacities[Resource::ruleEntries] = rules;
  profile.capacities[Resource::ipv4PrefixEntries] = prefixes;
  profile.capacities[Resource::ipv6PrefixEntries] = prefixes;
  profile.capacities[Resource::rangeEntries] = ranges;
  profile.capacities[Resource::comboEntries] = combos;
}

ChipProfile makeDefault() {
  ChipProfile profile;
  profile.name = "default";
  profile.description =
      "A router chip of today: labels for addresses and ports, other fields by value, no combinations";
  setWidths( profile, { 16, 10, 0, 0 } );
  setCapacities( profile, 65536, 131072, 8192, 0 );
  return profile;
}

ChipProfile makeSmall() {
  ChipProfile profile;
  profile.name = "small";
  profile.description = "An access switch: short labels and few entries, to see what does not fit and what to save";
  setWidths( profile, { 8, 6, 0, 0 } );
  setCapacities( profile, 512, 1024, 128, 0 );
  return profile;
}

ChipProfile makeWide() {
  ChipProfile profile;
  profile.name = "wide";
  profile.description = "The widest labels everywhere and large tables: what a policy takes when nothing holds it back";
  setWidths( profile, { 16, 16, 8, 0 } );
  setCapacities( profile, 1048576, 1048576, 262144, 0 );
  return profile;
}

ChipProfile makeCombined() {
  ChipProfile profile;
  profile.name = "combined";
  profile.description = "Source and destination in one label, addresses and ports: fewer entries, more labels";
  setWidths( profile, { 12, 8, 0, 16 } );
  setCapacities( profile, 16384, 32768, 4096, 65536 );
  return profile;
}

ChipProfile makeRaw() {
  ChipProfile profile;
  profile.name = "raw-ranges";
  profile.description = "No label for any range: ports expand into prefixes of bits, as on chips without range tables";
  setWidths( profile, { 16, 0, 0, 0 } );
  setCapacities( profile, 65536, 131072, 0, 0 );
  return profile;
}

ChipProfile makePermitting() {
  ChipProfile profile;
  profile.name = "tight-permit";
  profile.description =
      "Room for one table at a time, and all traffic passes while it is replaced: updates that disturb traffic";
  setWidths( profile, { 12, 8, 6, 0 } );
  setCapacities( profile, 2048, 8192, 1024, 0 );
  profile.hitfulPolicy = HitfulPolicy::permit;
  return profile;
}

ChipProfile makeCostOrder() {
  ChipProfile profile = makeDefault();
  profile.name = "cost-order";
  profile.description =
      "The default chip, with the labels of the largest sets placed first: what nested placement saves";
  profile.labelPlacement = LabelPlacement::costOrder;
  return profile;
}

std::vector<ChipProfile> makeAll() {
  std::vector<ChipProfile> profiles = { makeDefault(),  makeSmall(), makeWide(),
                                        makeCombined(), makeRaw(),   makePermitting() };
  for ( ChipProfile& profile : profiles ) profile.labelPlacement = LabelPlacement::nested;
  profiles.push_back( makeCostOrder() );
  return profiles;
}

}  // namespace

std::vector<ChipProfile> const& builtInProfiles() {
  static std::vector<ChipProfile> const profiles = makeAll();
  return profiles;
}

ChipProfile const* builtInProfile( std::string_view name ) {
  auto const& all = builtInProfiles();
  auto const found =
      std::find_if( all.begin(), all.end(), [&]( auto const& profile ) { return profile.name == name; } );
  return found == all.end() ? nullptr : &*found;
}

}  // namespace Orvex::Host
