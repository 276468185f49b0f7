#pragma once

/// What a chip can do, as plain values: which fields it labels and how wide the labels are, how much its tables hold, and
/// what it does with traffic while it cannot decide.
///
///     prefixes   ipv4 source       12 bits, invalid 0      10.0.0.0/8 -> label 5, any other address -> label 0
///     ranges     dport              6 bits, invalid 0      80-443 -> label 3
///                ttl                0 bits                 matched by its value
///     combos     srcDstL4Port       8 bits, invalid 0      labels (3, 5) -> label 9
///     capacities ruleEntries     4096                      entries of all ACLs
///
/// A profile is good when
///  1. prefix labels have 1 to 16 bits, labels of ranges and combinations 0 to 16; 0 switches the table off;
///  2. an invalid value lies below 2^bits, and is 0 where the table is off;
///  3. a combination of ports has both port tables, whose labels it combines;
///  4. every table that is on has room: a capacity of 0 is no room, and no limit is kUnlimited, never an absent value.
///
/// What is bad is told field by field, in the words of the profile's file (`ranges.dport.invalid`).

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Brae/ChipId.h"
#include "Kiv/Enumeration.h"
#include "Orvex/OrvexHwCapability.h"
#include "policy/Policy.h"
#include "verify/TableShape.h"

namespace Orvex::Host {

/// What a chip can run out of. The prefix tables of a family's two sides share one room; so do those of all range fields
/// and those of all combinations.
enum class Resource : std::uint32_t { ruleEntries, ipv4PrefixEntries, ipv6PrefixEntries, rangeEntries, comboEntries };

inline constexpr std::array<std::string_view, 5> kResourceNames = {
    "ruleEntries", "ipv4PrefixEntries", "ipv6PrefixEntries", "rangeEntries", "comboEntries" };
inline constexpr std::size_t kResourceCount = kResourceNames.size();
static_assert( kResourceCount == Kiv::enumValue( Resource::comboEntries ) + 1 );
constexpr std::span<std::string_view const> enumNames( Resource ) { return kResourceNames; }

inline constexpr std::array<Resource, kResourceCount> kResources = { Resource::ruleEntries, Resource::ipv4PrefixEntries,
                                                                     Resource::ipv6PrefixEntries,
                                                                     Resource::rangeEntries, Resource::comboEntries };

/// An amount of each resource.
class PerResource {
 public:
  std::uint64_t& operator[]( Resource resource ) { return amounts_[Kiv::enumValue( resource )]; }
  std::uint64_t operator[]( Resource resource ) const { return amounts_[Kiv::enumValue( resource )]; }

  friend bool operator==( PerResource const&, PerResource const& ) = default;

 private:
  std::array<std::uint64_t, kResourceCount> amounts_{};
};

/// A capacity without a limit.
inline constexpr std::uint64_t kUnlimited = ~std::uint64_t{ 0 };

/// What a compile makes at most, however much the chip holds: a short text can ask for any number of entries, and these
/// many, with their proof, are the most that 1 GiB holds. Pairs are those of all sets of a combination, each as often as
/// there are sets that have it.
inline constexpr std::uint64_t kMostRuleEntries = 3 * 1024 * 1024;
inline constexpr std::uint64_t kMostComboPairs = 32 * 1024 * 1024;

/// What happens to all packets while the chip holds neither the old table nor the new one.
enum class HitfulPolicy : std::uint32_t { deny, permit };

inline constexpr std::array<std::string_view, 2> kHitfulPolicyNames = { "deny", "permit" };
static_assert( kHitfulPolicyNames.size() == Kiv::enumValue( HitfulPolicy::permit ) + 1 );
constexpr std::span<std::string_view const> enumNames( HitfulPolicy ) { return kHitfulPolicyNames; }

struct ChipProfile {
  struct Encoding {
    /// Wide, so that one that does not fit is told and not cut.
    std::uint64_t widthBits = 0;
    /// What stands for the absence of a label.
    std::uint64_t invalid = 0;

    bool isOn() const { return widthBits != 0; }
    friend bool operator==( Encoding const&, Encoding const& ) = default;
  };

  Encoding& prefix( PrefixXformKey space ) { return prefixes[Kiv::enumValue( space.af() )][space.src() ? 0 : 1]; }
  Encoding const& prefix( PrefixXformKey space ) const {
    return prefixes[Kiv::enumValue( space.af() )][space.src() ? 0 : 1];
  }
  Encoding& combo( ComboLabelSetType type ) { return combos[Kiv::enumValue( type )]; }
  Encoding const& combo( ComboLabelSetType type ) const { return combos[Kiv::enumValue( type )]; }

  std::string name;
  std::string description;
  /// By family, then source and destination.
  std::array<std::array<Encoding, 2>, Vell::kAddressFamilyNames.size()> prefixes;
  PerField<Encoding> ranges;
  std::array<Encoding, Verify::TableShape::kCombos> combos;
  PerResource capacities;
  HitfulPolicy hitfulPolicy = HitfulPolicy::deny;
  LabelPlacement labelPlacement = LabelPlacement::costOrder;

  friend bool operator==( ChipProfile const&, ChipProfile const& ) = default;
};

/// All prefix spaces and combinations, in the order of their enumerations, source before destination.
inline constexpr std::array<PrefixXformKey, 4> kPrefixSpaces = {
    PrefixXformKey( Vell::AddressFamily::ipv4, true ), PrefixXformKey( Vell::AddressFamily::ipv4, false ),
    PrefixXformKey( Vell::AddressFamily::ipv6, true ), PrefixXformKey( Vell::AddressFamily::ipv6, false ) };
inline constexpr std::array<ComboLabelSetType, Verify::TableShape::kCombos> kCombos = {
    ComboLabelSetType::ipv4SrcDstPrefix, ComboLabelSetType::ipv6SrcDstPrefix, ComboLabelSetType::srcDstL4Port };

/// The library's number for a field's table.
constexpr RangeSetType rangeTableOf( Field field ) { return static_cast<RangeSetType>( Kiv::enumValue( field ) ); }

/// The resource that a family's prefix tables take.
constexpr Resource prefixResourceOf( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? Resource::ipv4PrefixEntries : Resource::ipv6PrefixEntries;
}

struct ProfileProblem {
  /// As in the profile's file: "ranges.dport.width".
  std::string field;
  /// "is 17 bits wide"
  std::string problem;
  /// "write 1 to 16"
  std::string remedy;

  friend bool operator==( ProfileProblem const&, ProfileProblem const& ) = default;
};

/// Everything that is wrong, in the order of the file's members; nothing for a good profile.
std::vector<ProfileProblem> problemsOf( ChipProfile const& profile );

class ProfileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the compiler must know of the chip. Its limits against runaway products are 4 times the chip's capacity, which
/// the chip itself checks exactly, and never above what a compile makes at most.
/// Fails with: ProfileError for a profile that is not good, with the first problem.
Kiv::Ptr<ChipHwCapability> capabilityOf( ChipProfile const& profile, Brae::ChipId chipId );

/// What a reader of the chip's snapshots must know.
Verify::TableShape shapeOf( ChipProfile const& profile );

}  // namespace Orvex::Host
