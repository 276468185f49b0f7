#pragma once

/// What a chip holds between two writes of a delta (Delta.h).
///
/// Rules of both versions stand side by side, in one order of rule indices. The new version's entries of a rule are tried
/// before those that it no longer has: these may do something else.

#include <map>
#include <tuple>

#include "update/Delta.h"

namespace Orvex::Host {

class TableState {
 public:
  struct Place {
    std::uint32_t rule = 0;
    bool goes = false;
    PDAclFilter entry;

    friend auto operator<=>( Place const&, Place const& ) = default;
  };
  using Entries = std::map<Place, OrvexActionValue>;

  /// The table before the delta's first write.
  TableState( TableVersion const& before, Delta const& delta, Verify::TableShape const& shape );
  TableState( TableState const& other );
  TableState& operator=( TableState const& ) = delete;

  void apply( RowWrite const& write );
  void apply( EntryWrite const& write );
  void apply( DefaultWrite const& write ) { defaults_[write.acl] = write.after; }

  /// The label tables; no ACLs.
  PDData const& labels() const { return *labels_; }
  /// In the order in which they are tried; none for an ACL that is not there.
  Entries const& entries( PDAclKey const& acl ) const;
  DefaultAction onMiss( PDAclKey const& acl ) const;
  PerResource use() const;

 private:
  Verify::TableShape const& shape_;
  Kiv::Ptr<PDData> labels_ = Kiv::make<PDData>();
  std::map<PDAclKey, Entries> entries_;
  DefaultActions defaults_;
};

}  // namespace Orvex::Host
