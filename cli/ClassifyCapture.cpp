/// Classifies the packets of a capture: which rules decide them, and what could not be asked.

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <variant>

#include "HitTable.h"
#include "Inputs.h"
#include "ProgressLine.h"
#include "Verdicts.h"
#include "output/OutputFile.h"
#include "packets/CaptureFile.h"

namespace Orvex::Cli {

namespace {

/// How far the reading is. The clock is asked once in many packets: for each, it would show in the speed.
class Progress {
 public:
  explicit Progress( ConsoleOptions const& options ) : line_( options ) {}

  void show( Host::CaptureFile const& capture ) {
    if ( !line_.isOn() || capture.frames() % kFramesBetween != 0 || Clock::now() < next_ ) return;
    next_ = Clock::now() + kPause;
    auto const percent = capture.percentRead();
    line_.show( counted( capture.frames(), "packet" ) + ( percent ? fmt::format( ", {} %", *percent ) : "" ) );
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::uint64_t kFramesBetween = 1024;
  static constexpr std::chrono::milliseconds kPause{ 200 };

  ProgressLine line_;
  Clock::time_point next_{};
};

/// What a capture's packets have come to.
class CaptureCounts {
 public:
  /// Of the ACLs of that name; without a name, of all.
  CaptureCounts( Verdicts const& verdicts, std::string const& aclName ) : verdicts_( verdicts ) {
    for ( AskedAcl const& asked : verdicts.acls() )
      if ( aclName.empty() || asked.acl->name == aclName ) acls_.push_back( { &asked, HitTable( *asked.acl ) } );
  }

  bool hasAcl() const { return !acls_.empty(); }

  /// Fails with: VerdictsDiffer.
  void add( std::variant<Verify::Packet, Host::Undecoded> const& decoded ) {
    if ( auto const* const reason = std::get_if<Host::Undecoded>( &decoded ) ) {
      ++undecoded_[Kiv::enumValue( *reason )];
      return;
    }
    auto const& packet = std::get<Verify::Packet>( decoded );
    Vell::AddressFamily const family = packet.source.af();
    ++( family == Vell::AddressFamily::ipv4 ? ipv4_ : ipv6_ );
    for ( CountedAcl& each : acls_ )
      if ( each.asked->acl->family == family ) each.hits.add( verdicts_.of( *each.asked, packet ), packet );
  }

  void write( Host::CaptureFile const& capture, Host::OutputFile& output ) const {
    output.write( fmt::format( "{}: {}: {} IPv4, {} IPv6, {} not decoded\n", capture.name(),
                               counted( capture.frames(), "packet" ), grouped( ipv4_ ), grouped( ipv6_ ),
                               grouped( capture.frames() - ipv4_ - ipv6_ ) ) );
    writeUndecoded( output );
    for ( CountedAcl const& each : acls_ ) output.write( fmt::format( "\n{}", each.hits.text() ) );
  }

 private:
  struct CountedAcl {
    AskedAcl const* asked = nullptr;
    HitTable hits;
  };

  void writeUndecoded( Host::OutputFile& output ) const {
    bool isFirst = true;
    for ( std::size_t reason = 0; reason != undecoded_.size(); ++reason ) {
      if ( undecoded_[reason] == 0 ) continue;
      if ( isFirst ) output.write( fmt::format( "\n{:<52}  {:>15}\n", "not decoded", "packets" ) );
      isFirst = false;
      output.write( fmt::format( "{:<52}  {:>15}\n", Host::kUndecodedNames[reason], grouped( undecoded_[reason] ) ) );
    }
  }

  Verdicts const& verdicts_;
  std::vector<CountedAcl> acls_;
  std::uint64_t ipv4_ = 0;
  std::uint64_t ipv6_ = 0;
  std::array<std::uint64_t, Host::kUndecodedCount> undecoded_{};
};

/// All packets of the capture.
/// Fails with: VerdictsDiffer, with the packet's number; CaptureError.
void count( Host::CaptureFile& capture, CaptureCounts& counts, ConsoleOptions const& console ) {
  Progress progress( console );
  try {
    while ( auto const frame = capture.next() ) {
      counts.add( Host::decode( capture.linkType(), *frame ) );
      progress.show( capture );
    }
  } catch ( VerdictsDiffer const& difference ) {
    throw VerdictsDiffer( fmt::format( "packet {}: {}", capture.frames(), difference.what() ) );
  }
}

}  // namespace

int classifyCapture( ClassifyOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  auto const profile = readChip( options.chip, diagnostics );
  show( diagnostics, options.console );
  if ( !located || !profile ) return kQuestionIsWrong;
  Host::SoftwareChip chip( Brae::ChipId( 0 ), *profile );
  Verdicts verdicts( located->policy, chip, options.mode );
  CaptureCounts counts( verdicts, options.acl );
  if ( !counts.hasAcl() ) {
    std::string const question = verdicts.nearestTo( options.acl );
    showError( options.acl.empty() ? "the policy has no ACL to ask"
                                   : fmt::format( "there is no ACL {}{}{}", Host::inQuotes( options.acl ),
                                                  question.empty() ? "" : "; ", question ),
               options.console );
    return kQuestionIsWrong;
  }
  try {
    Host::CaptureFile capture( options.capture );
    if ( auto const problem = verdicts.load(); !problem.empty() ) {
      showError( problem, options.console );
      return kAnswerIsNo;
    }
    count( capture, counts, options.console );
    Host::OutputFile output( options.output );
    counts.write( capture, output );
    if ( options.mode == ClassifyMode::compare ) output.write( "\ntable and policy agree\n" );
    output.commit();
    return kDone;
  } catch ( Host::CaptureError const& error ) {
    showError( error.what(), options.console );
    return kQuestionIsWrong;
  } catch ( VerdictsDiffer const& difference ) {
    showError( difference.what(), options.console );
    return kAnswerIsNo;
  }
}

}  // namespace Orvex::Cli
