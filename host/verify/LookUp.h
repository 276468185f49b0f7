#pragma once

/// What a chip that holds a snapshot does with a packet, step by step and without any index.
///
///     packet                    table                        key
///     source 10.1.2.3           10.0.0.0/8 1, 10.1.0.0/16 2  source 2        the longest prefix's label
///     dport 80                  0-79 1, 80-80 2              dport 2         the range's label
///     ttl 64                    (off)                        ttl 64          the value itself
///     labels 2 and 5            (2, 5) 7                     prefixCombo 7   the pair's label
///     fragment 0                                             headFragment 1
///
/// What a table does not have gets the table's invalid label. Then the first entry in the order of rules decides of
/// which all fields agree with the key in the bits that their masks select.
///
/// Cost: in proportion to the tables and the ACL's entries, for each packet. For tests and for single questions.

#include "Orvex/OrvexPDData.h"
#include "verify/Packet.h"
#include "verify/TableShape.h"

namespace Orvex::Verify {

/// The labels that the packet's fields are matched by.
struct LookUpKey {
  std::uint16_t source = 0;
  std::uint16_t destination = 0;
  std::uint16_t prefixCombo = 0;
  Host::PerField<std::uint16_t> fields;
  std::uint16_t portCombo = 0;
  std::uint16_t headFragment = 0;
  std::uint16_t tcpFlag = 0;

  friend bool operator==( LookUpKey const&, LookUpKey const& ) = default;
};

/// Fails with: QuestionError when the packet is not one.
LookUpKey keyOf( PDData const& snapshot, TableShape const& shape, Packet const& packet );

bool matches( PDAclFilter const& entry, LookUpKey const& key );

/// The verdict of the named ACL, in the library's name, and of the family that the packet's addresses choose. An ACL
/// that the snapshot does not have matches nothing. Snapshots have no default actions: `missAction` is what happens on
/// a miss.
/// Fails with: QuestionError when the packet is not one.
Verdict lookUp( PDData const& snapshot, TableShape const& shape, Kiv::String const& libraryAclName,
                OrvexActionValue const& missAction, Packet const& packet );

}  // namespace Orvex::Verify
