#pragma once

/// Which label tables a chip has: all that a reader of its snapshot must know besides the snapshot.
///
/// It is filled from the chip's profile, or from a snapshot's file, where a table is present exactly when it is
/// switched on.

#include <array>
#include <cstdint>

#include "Kiv/Enumeration.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Vell/AddressFamily.h"
#include "policy/Policy.h"

namespace Orvex::Verify {

struct TableShape {
  struct Table {
    /// Without its table a range field is matched by its value, and a combination or a prefix space not at all.
    bool on = false;
    /// The label of what the table does not have.
    std::uint16_t invalid = 0;

    friend bool operator==( Table const&, Table const& ) = default;
  };

  static constexpr std::uint32_t kCombos = Kiv::enumValue( ComboLabelSetType::comboLabelSetMax );

  Table& prefix( PrefixXformKey space ) { return prefixes[Kiv::enumValue( space.af() )][space.src() ? 0 : 1]; }
  Table const& prefix( PrefixXformKey space ) const {
    return prefixes[Kiv::enumValue( space.af() )][space.src() ? 0 : 1];
  }
  Table& combo( ComboLabelSetType type ) { return combos[Kiv::enumValue( type )]; }
  Table const& combo( ComboLabelSetType type ) const { return combos[Kiv::enumValue( type )]; }

  /// By family, then source and destination.
  std::array<std::array<Table, 2>, Vell::kAddressFamilyNames.size()> prefixes;
  Host::PerField<Table> ranges;
  std::array<Table, kCombos> combos;

  friend bool operator==( TableShape const&, TableShape const& ) = default;
};

}  // namespace Orvex::Verify
