#pragma once

/// The cases of each mode.

#include "Soak.h"

namespace Orvex::Soak {

/// A policy is compiled onto a chip of random make, and its table proved.
void equivCase( Case& one );

/// Versions of a policy follow one another on one chip. Some are refused, by the chip for what it has not, by an operator's
/// objection or by a cancel; whatever happens, the chip holds the last version that was accepted.
void editsCase( Case& one );
inline constexpr std::uint64_t kVersionsACase = 25;

/// Packets are looked up on the chip and interpreted from the policy.
void packetsCase( Case& one );
inline constexpr std::uint64_t kPacketsACase = 10'000;

/// A proved table is broken so that it means something else, and the prover must find it. Whether the meaning has changed
/// is decided by packets, which the policy and the broken table treat differently; the prover has no part in that.
void faultsCase( Case& one );

/// One policy of a small world, or one set of edits in all orders. The numbers of all cases are all that there is.
void exhaustiveCase( Case& one );
std::uint64_t exhaustiveCases();

/// A policy is written in another way that does not change what it means, and does the same to every packet.
void metamorphicCase( Case& one );

/// A policy or a table is written in a format, and what is read back is the same. What a format cannot hold is counted, by
/// the reason that it gives.
void roundTripCase( Case& one );

/// A chip is asked for as much as it has of something, for one less, and for one more: that is refused with what is missing,
/// and what was in force stays, until something comes that fits.
void exhaustionCase( Case& one );

/// Small policies, and their tables as they are, broken, and of another version: whether the two are equal is asked of the
/// prover and of Z3, a solver for bit vectors, in formulas of its own (PacketFormulas.h). Both must say the same, and each
/// packet that Z3 shows must be one that interpreter and look-up treat differently.
void judgeCase( Case& one );

/// A chip's next version comes through a driver that breaks its contract. All single faults come first, by number, and then
/// random double ones. Whatever is reported, and wherever a fatal check stops the host: the chip does what one version says,
/// or the blanket policy, and the next version without faults is loaded.
void handshakeCase( Case& one );
std::uint64_t handshakeSingleFaults();
inline constexpr std::uint64_t kDoubleFaults = 500;

/// The orvex command is killed while it writes: the output is the old file or the whole new one, and the next run's is right.
void killCase( Case& one );

}  // namespace Orvex::Soak
