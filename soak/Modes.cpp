#include "Modes.h"

namespace Orvex::Soak {

std::vector<Mode> modes() {
  return {
      { "equiv", "random policies on random chips: every table is proved", 20'000, equivCase },
      { "edits", "chains of 25 versions on one chip: after each the last accepted is in force", 800, editsCase },
      { "packets", "10,000 packets a policy: the chip does what the policy says", 1'000, packetsCase },
      { "faults", "tables that were broken: every fault that changes the meaning is found", 2'000, faultsCase },
      { "exhaustive", "small worlds: every policy, every packet, every order of three edits", 60'000, exhaustiveCase,
        exhaustiveCases() },
      { "metamorphic", "policies written in two ways: both tables do the same", 4'000, metamorphicCase },
      { "roundtrip", "every format: what is written comes back", 10'000, roundTripCase },
      { "exhaustion", "all that a chip has, one less and one more: it fits, or is refused", 1'000, exhaustionCase },
      { "judge", "a solver that knows nothing of this program is asked what the prover is asked", 2'000, judgeCase },
      { "handshake", "drivers that break their contract: the chip never holds a mixture",
        handshakeSingleFaults() + kDoubleFaults, handshakeCase },
      { "kill", "the orvex command is killed: the output is the old file or the whole new one", 200, killCase } };
}

}  // namespace Orvex::Soak
