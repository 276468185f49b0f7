#include <utility>

#include "Modes.h"
#include "ProvedTable.h"
#include "RandomEdit.h"
#include "RandomPolicy.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Soak {

namespace {

using Host::CompileOutcome;

constexpr char const* kObjection = "the operator objects";

class Chain {
 public:
  explicit Chain( Case& one )
      : one_( one ),
        donor_( Host::Test::randomPolicy( one.random, { 3, 12, 4, 3, 15 } ) ),
        accepted_( Host::Test::edited( one.random, one.random.percent( 40 ) ? donor_ : Host::Policy{}, donor_ ) ) {
    ProvedTable first = provedTable( accepted_, one );
    chip_ = std::move( first.chip );
    snapshot_ = std::move( first.snapshot );
    one_.tally.add( "versions proved" );
  }

  /// Tries versions until one more is accepted.
  void next() {
    while ( !tryVersion( Host::Test::edited( one_.random, accepted_, donor_ ) ) ) checkTableOfBefore();
    checkPackets();
    one_.tally.add( "versions proved" );
  }

 private:
  bool tryVersion( Host::Policy candidate ) {
    bool const isSame = candidate == accepted_;
    Host::CompileOptions options;
    std::uint32_t const lastStep = one_.random.percent( 5 ) ? one_.random.between( 1, 40 ) : 0xFFFFFFFF;
    options.cancelled = [lastStep, step = 0U]() mutable { return ++step >= lastStep; };
    bool const objects = one_.random.percent( 5 );
    options.objection = [objects]( PDData const& ) {
      return objects ? std::optional<std::string>( kObjection ) : std::nullopt;
    };
    auto const result = Host::compileProved( candidate, *chip_, options );
    if ( result.compile.outcome == CompileOutcome::loaded ) {
      if ( objects || !result.proof.isProved() ) fail( "loaded, and should not have been", candidate );
      if ( chip_->pdConfig()->currPDData() != result.compile.snapshot ) fail( "another snapshot is loaded", candidate );
      one_.tally.add( result.compile.hitful ? "loads that disturbed traffic" : "loads that did not disturb traffic" );
      one_.tally.add( "rules proved", result.proof.rules );
      snapshot_ = result.compile.snapshot;
      accepted_ = std::move( candidate );
      return true;
    }
    if ( result.compile.outcome == CompileOutcome::cancelled ) {
      one_.tally.add( "refused: cancelled" );
    } else if ( objects && result.compile.message == kObjection ) {
      one_.tally.add( "refused: an objection" );
    } else {
      auto const shortage = shortageOf( result.compile );
      if ( !shortage || isSame ) fail( "not loaded: " + result.compile.message, candidate );
      one_.tally.add( "refused for want of " + *shortage );
    }
    return false;
  }

  /// Nothing may have touched it, the refused version's pipeline included.
  void checkTableOfBefore() {
    if ( chip_->pdConfig()->currPDData() != snapshot_ ) fail( "a refusal has left another snapshot", accepted_ );
    auto const proof =
        Verify::prove( accepted_, *snapshot_, shapeOf( chip_->profile() ), Host::defaultActionsOf( accepted_ ) );
    if ( !proof.isProved() ) fail( "after a refusal the table in force is not the last version accepted", accepted_ );
    checkPackets();
  }

  /// What the chip has copied is asked by packets.
  void checkPackets() {
    if ( chip_->policyInForce() != GlobalAclControl::doNotApply ) fail( "a blanket policy is left", accepted_ );
    askAboutBoundaries( *chip_, accepted_, 10, one_.random );
  }

  [[noreturn]] void fail( std::string const& problem, Host::Policy const& policy ) const {
    throw Failure( problem, policy, chip_->profile() );
  }

  Case& one_;
  Host::Policy donor_;
  Host::Policy accepted_;
  std::unique_ptr<Host::SoftwareChip> chip_;
  Kiv::Ptr<PDData const> snapshot_;
};

}  // namespace

void editsCase( Case& one ) {
  Chain chain( one );
  for ( std::uint64_t left = kVersionsACase - 1; left != 0; --left ) chain.next();
}

}  // namespace Orvex::Soak
