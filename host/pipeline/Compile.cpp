#include "pipeline/Compile.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "Kiv/System.h"
#include "Orvex/OrvexRootSm.h"
#include "pipeline/FailureLines.h"
#include "pipeline/LabelBound.h"
#include "pipeline/StageMembers.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

namespace {

using Clock = std::chrono::steady_clock;
using Stage = OrvexActiveStage;

constexpr std::chrono::milliseconds kPollInterval{ 1 };

/// Below, the stages take no time worth saving, and tell the exact number of labels.
constexpr std::size_t kManyRules = 20000;

std::string costText( std::vector<Cost> const& costs ) {
  std::string text;
  for ( Cost const& cost : costs )
    text += ( text.empty() ? "; most cost " : "; " ) + cost.what + " (" + std::to_string( cost.amount ) + ")";
  return text;
}

/// "RuleExpanderSm(0)::doBuildExpandedRules: ACL ..." without the place that traced it.
std::string withoutPlace( std::string const& line ) {
  std::size_t const function = line.find( "::" );
  std::size_t const text = function == std::string::npos ? function : line.find( ": ", function );
  return text == std::string::npos ? line : line.substr( text + 2 );
}

/// One version's kick, from its root to its end. What it has begun and not ended is taken back when this goes.
class Kick {
 public:
  Kick( Policy const& policy, ChipDriver& chip, CompileOptions const& options );
  ~Kick();
  Kick( Kick const& ) = delete;
  Kick& operator=( Kick const& ) = delete;

  CompileResult run();

 private:
  bool step();
  bool hasTooManyPairs();
  bool hasTooManyEntries();
  void setCostliestRules();
  void noteEndedStages();
  void noteStageTime( Stage stage );
  bool waitForDriver();

  double kickTime() const { return root_->stageControllerStatus()->kickTime(); }
  bool loadMade() const;
  std::optional<std::string> objection( PDData const& snapshot ) const;

  void end( CompileOutcome outcome, std::string message );
  void endWithFailure( StageMember const& member );
  std::string labelMessage( StageMember const& member );
  std::string pairMessage( LabelTable const& table ) const;
  std::string tracedMessage() const;
  std::string refusalMessage();
  void fillFigures();

  ChipDriver& chip_;
  CompileOptions const& options_;
  FailureLines failures_;
  Kiv::Ptr<Brae::TimerWheel> wheel_ = Kiv::make<Brae::TimerWheel>();
  Kiv::Ptr<AclConfigColl> config_;
  Kiv::Ptr<RootConfig> rootConfig_;
  Kiv::Ptr<RootStatus> rootStatus_;
  Kiv::Ptr<PDData> snapshotBefore_;
  Kiv::Ptr<OrvexRootSm> root_;
  std::optional<StageMembers> members_;
  std::optional<CompileReporter> reporter_;

  CompileResult result_;
  Stage running_ = Stage::stageAggregator;
  Clock::time_point stageBegan_ = Clock::now();
  Clock::time_point lastSign_ = Clock::now();
  bool entriesEstimated_ = false;
};

Kick::Kick( Policy const& policy, ChipDriver& chip, CompileOptions const& options )
    : chip_( chip ), options_( options ), snapshotBefore_( chip.pdConfig()->currPDData() ) {
  Brae::ChipId const chipId = chip.pdConfig()->chipId();
  config_ = Kiv::make<AclConfigColl>( chipId );
  buildAclConfig( policy, *config_ );
  rootConfig_ = Kiv::make<RootConfig>( chipId );
  rootStatus_ = Kiv::make<RootStatus>( chipId );
  auto const parameters = Kiv::make<Brae::ParamConfig>();
  bool const permit = chip.profile().hitfulPolicy == HitfulPolicy::permit;
  parameters->hitfulUpdatePolicyIs( permit ? Brae::ParamConfig::kPermit : Brae::ParamConfig::kDeny );
  root_ = orvexRootSmFactory( chipId, chip.hwCapability(), rootConfig_, rootStatus_, config_, parameters,
                              chip.pdConfig(), chip.pdStatus(), wheel_ );
  members_.emplace( *root_->stageSmStatus() );
  chip.versionIs( { defaultActionsOf( policy ), [this]( PDData const& data ) { return objection( data ); } } );
}

/// With the root no loader is bound to the chip's entities any more, and what it began can be undone on both sides. After a
/// kick that has come to its end there is nothing to undo, unless the driver has broken its contract.
Kick::~Kick() {
  bool const made = loadMade();
  root_ = nullptr;
  chip_.pdConfig()->globalAclControlIs( GlobalAclControl::doNotApply );
  chip_.requestsDelAll();
  if ( !made ) chip_.pdConfig()->currPDDataIs( snapshotBefore_ );
}

CompileResult Kick::run() {
  noteStageTime( Stage::stageInit );
  if ( options_.progress ) options_.progress( running_ );
  rootConfig_->orvexKickRequestIs( OrvexKickRequest::orvexStart );
  rootConfig_->orvexKickTimeIs( Kiv::System::currentTime() );
  noteEndedStages();
  while ( step() ) noteEndedStages();
  result_.trace = failures_.lines();
  // A refusal is traced once for each status of the chip.
  result_.trace.erase( std::unique( result_.trace.begin(), result_.trace.end() ), result_.trace.end() );
  return std::move( result_ );
}

/// False when the kick has ended.
bool Kick::step() {
  if ( StageMember const* const member = members_->failed( kickTime() ) ) {
    endWithFailure( *member );
    return false;
  }
  if ( rootStatus_->kickProgress() != OrvexProgress::orvexRunning ) {
    if ( rootStatus_->kickProgress() != OrvexProgress::orvexFinishedSuccess )
      end( CompileOutcome::failed, std::string( rootStatus_->kickMessage().view() ) );
    else if ( loadMade() )
      end( CompileOutcome::loaded, "" );
    else
      end( CompileOutcome::refused, "the chip's driver has confirmed a load that it has not made" );
    return false;
  }
  if ( hasTooManyPairs() || hasTooManyEntries() ) return false;
  if ( options_.cancelled && options_.cancelled() && !loadMade() ) {
    end( CompileOutcome::cancelled, "cancelled" );
    return false;
  }
  if ( wheel_->due() ) {
    wheel_->service();
  } else if ( !chip_.serve() ) {
    if ( waitForDriver() ) return true;
    end( CompileOutcome::driverSilent, "the chip's driver has been silent for " +
                                           std::to_string( options_.driverTimeout.count() ) + " ms" +
                                           ( loadMade() ? "; the new table is in force" : "" ) );
    return false;
  }
  lastSign_ = Clock::now();
  return true;
}

/// The resolver and the split look at every pair of every set, so they are counted before these run.
bool Kick::hasTooManyPairs() {
  if ( running_ != Stage::stageComboLabelResolver ) return false;
  reporter_.emplace( *root_->stageSmStatus(), chip_.profile() );
  auto const* const found = std::find_if( kCombos.begin(), kCombos.end(), [this]( ComboLabelSetType type ) {
    return chip_.profile().combo( type ).isOn() && reporter_->pairs( type ) > kMostComboPairs;
  } );
  if ( found == kCombos.end() ) return false;
  result_.costliest = reporter_->rulesWithMostPairs( *found );
  end( CompileOutcome::failed, tableText( *found ) + " would combine " + std::to_string( reporter_->pairs( *found ) ) +
                                   " pairs of labels for all rules, and " + std::to_string( kMostComboPairs ) +
                                   " are allowed" + costText( result_.costliest ) );
  return true;
}

/// The expander would find out too, with as many entries in memory as are allowed.
bool Kick::hasTooManyEntries() {
  std::uint64_t const limit = chip_.hwCapability()->maxAclEntries();
  if ( running_ != Stage::stageRuleExpander || entriesEstimated_ || limit == 0 ) return false;
  entriesEstimated_ = true;
  reporter_.emplace( *root_->stageSmStatus(), chip_.profile() );
  if ( reporter_->mostEntries() <= limit ) return false;
  std::uint64_t const least = leastEntries( reporter_->lists(), limit );
  if ( least <= limit ) return false;
  setCostliestRules();
  end( CompileOutcome::failed, "the rules take at least " + std::to_string( least ) + " entries; " +
                                   std::to_string( limit ) + " are allowed over all ACLs" +
                                   costText( result_.costliest ) );
  return true;
}

void Kick::setCostliestRules() {
  std::vector<Cost> costs;
  for ( RuleUse const& rule : reporter_->rules( nullptr ) )
    costs.push_back( { ruleText( rule.acl, rule.index ), rule.product } );
  result_.costliest = costliest( std::move( costs ) );
}

void Kick::noteEndedStages() {
  while ( running_ != Stage::stageInit && members_->ended( running_, kickTime() ) ) {
    noteStageTime( running_ );
    running_ = running_ == Stage::stageLoader ? Stage::stageInit : static_cast<Stage>( Kiv::enumValue( running_ ) + 1 );
    if ( running_ != Stage::stageInit && options_.progress ) options_.progress( running_ );
  }
  // The loader publishes the snapshot, and takes it back when it is refused.
  auto const& published = chip_.pdConfig()->currPDData();
  if ( running_ == Stage::stageLoader && published != snapshotBefore_ ) result_.snapshot = published;
  if ( chip_.pdConfig()->globalAclControl() != GlobalAclControl::doNotApply ) result_.hitful = true;
}

void Kick::noteStageTime( Stage stage ) {
  auto const now = Clock::now();
  result_.stages.push_back( { stage, now - stageBegan_ } );
  stageBegan_ = now;
}

/// False when it has been silent for too long.
bool Kick::waitForDriver() {
  if ( Clock::now() - lastSign_ >= options_.driverTimeout ) return false;
  std::this_thread::sleep_for( kPollInterval );
  return true;
}

/// Asked of the driver: its answers can be lost, or wrong.
bool Kick::loadMade() const { return chip_.loadedRequest() == kickTime(); }

std::optional<std::string> Kick::objection( PDData const& snapshot ) const {
  if ( auto stage = members_->objection( kickTime() ) ) return stage;
  return options_.objection ? options_.objection( snapshot ) : std::nullopt;
}

// Results

void Kick::end( CompileOutcome outcome, std::string message ) {
  result_.outcome = outcome;
  result_.message = std::move( message );
  if ( outcome != CompileOutcome::loaded && result_.stage == Stage::stageInit ) result_.stage = running_;
  fillFigures();
}

void Kick::endWithFailure( StageMember const& member ) {
  reporter_.emplace( *root_->stageSmStatus(), chip_.profile() );
  result_.stage = member.stage;
  switch ( member.stage ) {
    case Stage::stageLoader:
      return end( CompileOutcome::refused, refusalMessage() );
    case Stage::stagePrefixXform:
    case Stage::stageRangeSplit:
    case Stage::stageComboLabelSplit:
    case Stage::stagePrefixEncoder:
    case Stage::stageRangeEncoder:
    case Stage::stageComboLabelEncoder:
      return end( CompileOutcome::failed, labelMessage( member ) );
    case Stage::stageComboLabelResolver:
      result_.costliest = reporter_->rulesWithMostPairs( std::get<ComboLabelSetType>( *member.table ) );
      return end( CompileOutcome::failed, pairMessage( *member.table ) );
    case Stage::stageRuleExpander:
      setCostliestRules();
      break;
    default:
      break;
  }
  end( CompileOutcome::failed, tracedMessage() + costText( result_.costliest ) );
}

/// What the stage has traced last: it then ended.
std::string Kick::tracedMessage() const {
  return failures_.lines().empty() ? "failed" : withoutPlace( failures_.lines().back() );
}

std::string Kick::pairMessage( LabelTable const& table ) const {
  std::uint64_t const limit = chip_.hwCapability()->maxComboPairs();
  if ( limit == 0 || result_.costliest.empty() || result_.costliest.front().amount <= limit ) return tracedMessage();
  return tableText( table ) + " would combine " + std::to_string( result_.costliest.front().amount ) +
         " pairs of labels for one rule, and " + std::to_string( limit ) + " are allowed" +
         costText( result_.costliest );
}

std::string Kick::labelMessage( StageMember const& member ) {
  LabelUse const use = reporter_->labelsOf( *member.table );
  result_.costliest = reporter_->setsWithMostLabels( *member.table );
  return use.table + " needs " + std::to_string( use.needed ) + " labels, and " + std::to_string( use.widthBits ) +
         " bits have " + std::to_string( use.available ) + costText( result_.costliest );
}

std::string Kick::refusalMessage() {
  if ( !chip_.refusal() ) return "the chip has refused the snapshot";
  result_.shortages = chip_.refusal()->shortages;
  if ( result_.shortages.empty() ) return chip_.refusal()->reason;
  std::string text = "it does not fit chip " + chip_.profile().name;
  for ( Shortage& shortage : result_.shortages ) {
    if ( shortage.costliest.empty() ) shortage.costliest = reporter_->largestSets( shortage.resource );
    text += "; " + textOf( shortage );
  }
  return text;
}

void Kick::fillFigures() {
  if ( !reporter_ ) reporter_.emplace( *root_->stageSmStatus(), chip_.profile() );
  double const kick = kickTime();
  result_.labels = reporter_->labels( kick );
  StageMember const* const failed = members_->failed( kick );
  if ( members_->ended( Stage::stageComboLabelEncoder, kick ) &&
       ( !failed || failed->stage >= Stage::stageRuleExpander ) )
    result_.rules = reporter_->rules( result_.snapshot ? result_.snapshot->pdAclColl().get() : nullptr );
  if ( result_.snapshot ) result_.use = useOf( *result_.snapshot, shapeOf( chip_.profile() ) );
}

std::size_t ruleCount( Policy const& policy ) {
  std::size_t count = 0;
  for ( Acl const& acl : policy.acls ) count += acl.rules.size();
  return count;
}

/// What is certain to end in a prefix table without labels for all of its sets, nothing when that is not certain.
std::optional<CompileResult> refusalForLabels( Policy const& policy, ChipProfile const& profile ) {
  if ( ruleCount( policy ) < kManyRules ) return std::nullopt;
  for ( PrefixXformKey const space : kPrefixSpaces ) {
    ChipProfile::Encoding const& encoding = profile.prefix( space );
    if ( !encoding.isOn() ) continue;
    std::uint64_t const available = ( std::uint64_t{ 1 } << encoding.widthBits ) - 1;
    std::uint64_t const needed = leastPrefixLabels( policy, space );
    if ( needed <= available ) continue;
    CompileResult result;
    result.stage = Stage::stagePrefixXform;
    result.costliest = prefixesWithMostLabels( policy, space );
    result.message = tableText( space ) + " needs " + std::to_string( needed ) +
                     " labels at least, one for each prefix that rules name alone, and " +
                     std::to_string( encoding.widthBits ) + " bits have " + std::to_string( available ) +
                     costText( result.costliest );
    return result;
  }
  return std::nullopt;
}

}  // namespace

CompileResult compile( Policy const& policy, ChipDriver& chip, CompileOptions const& options ) {
  if ( auto refusal = refusalForLabels( policy, chip.profile() ) ) return *std::move( refusal );
  return Kick( policy, chip, options ).run();
}

}  // namespace Orvex::Host
