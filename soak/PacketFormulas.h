#pragma once

/// What a policy and a table do with a packet, as formulas over bit vectors, for a solver that knows nothing of this program.
///
/// The packet is a variable for each of its fields, as wide as the field. A verdict is a formula whose value is a number;
/// equal verdicts have equal numbers. So "no packet is treated differently" is that the two formulas are never unequal.
///
///     list 10/8 !10.1/16                  ite( address[31:16] = 10.1, false, address[31:24] = 10 )
///     table 10/8 -> 1, else 0             ite( address[31:24] = 10, 1, 0 )
///     rules 10, 20                        ite( rule 10, verdict of 10, ite( rule 20, verdict of 20, default ) )
///
/// It is written from what policies and tables mean (verify/Interpreter.h, verify/LookUp.h) and shares no code with the
/// prover: a fault in either shows as a disagreement.

#include <z3++.h>

#include <vector>

#include "verify/Prover.h"

namespace Orvex::Soak {

/// Whose verdicts are the same: those of one rule, or those of one action.
enum class Sameness : std::uint32_t { ofRule, ofAction };

class PacketFormulas {
 public:
  PacketFormulas( z3::context& context, Vell::AddressFamily family, Sameness sameness );

  z3::expr verdictOf( Host::Acl const& acl );
  /// Of the ACL in the table; of no rules, if the table does not have it.
  z3::expr verdictOf( PDData const& snapshot, Verify::TableShape const& shape, Verify::DefaultActions const& defaults,
                      PDAclKey const& acl );

  /// The packet that a model of the formulas shows.
  Verify::Packet packetIn( z3::model const& model ) const;

 private:
  /// What the table matches by: a label of 16 bits for each field of its entries, in their order.
  using Key = std::vector<z3::expr>;

  z3::expr number( std::uint64_t value, unsigned bits ) const;
  z3::expr label( std::uint16_t value ) const { return number( value, kLabelBits ); }
  static z3::expr asLabel( z3::expr const& value );
  z3::expr verdict( Verify::Verdict const& verdict );

  z3::expr isIn( z3::expr const& address, Vell::IpGenPrefix const& prefix ) const;
  z3::expr isIn( z3::expr const& address, Host::SharedPrefixList const& list ) const;
  static z3::expr isIn( z3::expr const& value, Host::ValueRange range );
  z3::expr matches( Host::Rule const& rule ) const;

  Key keyOf( PDData const& snapshot, Verify::TableShape const& shape ) const;
  z3::expr prefixLabel( PDData const& snapshot, Verify::TableShape const& shape, bool source ) const;
  z3::expr fieldLabel( PDData const& snapshot, Verify::TableShape const& shape, Host::Field field ) const;
  z3::expr pairLabel( PDData const& snapshot, Verify::TableShape const& shape, ComboLabelSetType type,
                      z3::expr const& source, z3::expr const& destination ) const;
  z3::expr matches( PDAclFilter const& entry, Key const& key ) const;

  static constexpr unsigned kLabelBits = 16;

  z3::context& context_;
  Vell::AddressFamily family_;
  Sameness sameness_;
  z3::expr source_;
  z3::expr destination_;
  std::vector<z3::expr> fields_;
  z3::expr tcpFlags_;
  std::vector<Verify::Verdict> verdicts_;  // by their numbers
};

}  // namespace Orvex::Soak
