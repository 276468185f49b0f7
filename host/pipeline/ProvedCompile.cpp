#include "pipeline/ProvedCompile.h"

#include <utility>

namespace Orvex::Host {

namespace {

/// What speaks against a table that is not proved.
std::string objectionOf( Verify::Proof const& proof ) {
  if ( proof.witness ) return "the table is not the policy: " + textOf( *proof.witness );
  return "the table is not proved to be the policy: " + proof.reason;
}

}  // namespace

ProvedResult compileProved( Policy const& policy, ChipDriver& chip, CompileOptions const& options, ProofMode mode ) {
  ProvedResult result;
  CompileOptions proving = options;
  proving.objection = [&]( PDData const& snapshot ) -> std::optional<std::string> {
    if ( mode == ProofMode::loadNothing ) return "nothing is loaded without a proof";
    auto const start = std::chrono::steady_clock::now();
    result.proof = Verify::prove( policy, snapshot, shapeOf( chip.profile() ), defaultActionsOf( policy ) );
    result.proofTime = std::chrono::steady_clock::now() - start;
    if ( !result.proof.isProved() ) return objectionOf( result.proof );
    return options.objection ? options.objection( snapshot ) : std::nullopt;
  };
  result.compile = compile( policy, chip, proving );
  return result;
}

}  // namespace Orvex::Host
