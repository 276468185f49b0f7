#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "Inputs.h"
#include "ProgressLine.h"
#include "Remedies.h"
#include "StandardStreams.h"
#include "chip/BuiltInProfiles.h"
#include "chip/SnapshotJson.h"
#include "chip/SoftwareChip.h"
#include "output/OutputFile.h"
#include "pipeline/PlacementComparison.h"
#include "pipeline/PlainExpansion.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Lint.h"
#include "report/Report.h"

namespace Orvex::Cli {

namespace {

using Host::CompileOutcome;
using Host::CompileResult;
using Sink = std::function<void( std::string_view )>;

constexpr Brae::ChipId kChip( 0 );

Host::ProvedResult compiled( Host::Policy const& policy, Host::SoftwareChip& chip, CompileOptions const& options ) {
  ProgressLine progress( options.console );
  Host::CompileOptions compileOptions;
  compileOptions.progress = [&progress]( OrvexActiveStage stage ) {
    progress.show( fmt::format( "{} ...", Host::stageText( stage ) ) );
  };
  return Host::compileProved( policy, chip, compileOptions,
                              options.verify ? Host::ProofMode::prove : Host::ProofMode::loadNothing );
}

std::string capacityText( std::uint64_t capacity ) {
  return capacity == Host::kUnlimited ? "no limit" : grouped( capacity );
}

/// "hitless, proved equal to the policy in 0.8 ms"
std::string proofText( Host::ProvedResult const& proved ) {
  return fmt::format( "{}, proved equal to the policy in {:.1f} ms", proved.compile.hitful ? "hitful" : "hitless",
                      std::chrono::duration<double, std::milli>( proved.proofTime ).count() );
}

void writeAcls( Host::Policy const& policy, CompileResult const& result, Sink const& write ) {
  std::size_t width = 4;
  for ( Host::Acl const& acl : policy.acls ) width = std::max( width, acl.name.size() );
  write( fmt::format( "{:<{}}  family  {:>9}  {:>11}  default\n", "ACL", width, "rules", "entries" ) );
  for ( Host::Acl const& acl : policy.acls ) {
    PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
    auto const loaded = result.snapshot->pdAclColl()->pdAcl().find( key );
    write( fmt::format( "{:<{}}  {:<6}  {:>9}  {:>11}  {}\n", acl.name, width, Kiv::stringValue( acl.family ),
                        grouped( acl.rules.size() ), grouped( loaded ? loaded->numFilters() : 0 ),
                        Kiv::stringValue( acl.defaultAction ) ) );
  }
}

void writeCapacities( CompileResult const& result, Host::ChipProfile const& profile, Sink const& write ) {
  write( fmt::format( "\n{:<20}{:>11}{:>12}{:>12}\n", "capacity", "used", "free", "of" ) );
  for ( Host::Resource const resource : Host::kResources ) {
    std::uint64_t const used = result.use[resource];
    std::uint64_t const capacity = profile.capacities[resource];
    bool const limited = capacity != Host::kUnlimited;
    if ( capacity == 0 && used == 0 ) continue;
    write( fmt::format( "{:<20}{:>11}{:>12}{:>12}\n", Kiv::stringValue( resource ), grouped( used ),
                        limited ? grouped( capacity - used ) : "", capacityText( capacity ) ) );
  }
}

void writeLabels( CompileResult const& result, Sink const& write ) {
  write( fmt::format( "\n{:<20}{:>11}{:>12}{:>12}\n", "labels", "needed", "of", "bits" ) );
  for ( Host::LabelUse const& labels : result.labels )
    write( fmt::format( "{:<20}{:>11}{:>12}{:>12}\n", labels.table, grouped( labels.needed ),
                        grouped( labels.available ), labels.widthBits ) );
}

std::string ruleLine( Host::RuleUse const& use, std::uint64_t plain ) {
  std::string line =
      fmt::format( "rule {}: {} {}", use.index, arithmeticOf( use ), use.product == 1 ? "entry" : "entries" );
  if ( use.entries != use.product )
    line += fmt::format( ", {} of them earlier rules' too", grouped( use.product - use.entries ) );
  return line + fmt::format( "; plain prefix expansion {}{}\n", plain == ~std::uint64_t{ 0 } ? "more than " : "",
                             grouped( plain ) );
}

/// Of the rule that a use is of.
std::uint64_t plainEntriesOf( Host::RuleUse const& use, Host::Policy const& policy ) {
  auto const wanted = Host::userAclName( use.acl.aclName );
  auto const acl = std::find_if( policy.acls.begin(), policy.acls.end(), [&]( Host::Acl const& each ) {
    return std::pair( each.family, each.name ) == wanted;
  } );
  auto const rule =
      std::lower_bound( acl->rules.begin(), acl->rules.end(), use.index,
                        []( Host::Rule const& each, std::uint32_t index ) { return each.index < index; } );
  return Host::plainEntries( *rule );
}

void writeSummary( Host::Policy const& policy, Host::ChipProfile const& profile, Host::ProvedResult const& proved,
                   Sink const& write ) {
  CompileResult const& result = proved.compile;
  std::uint64_t entries = result.snapshot->pdAclColl()->numFilters();
  double milliseconds = 0;
  for ( Host::StageTime const& stage : result.stages )
    milliseconds += std::chrono::duration<double, std::milli>( stage.time ).count();
  std::uint64_t const plainSum = Host::plainEntries( policy );
  write( fmt::format( "{} in {}; {}, where plain prefix expansion takes {}{}\n", counted( rulesIn( policy ), "rule" ),
                      counted( policy.acls.size(), "ACL" ), entries == 1 ? "1 entry" : grouped( entries ) + " entries",
                      plainSum == ~std::uint64_t{ 0 } ? "more than " : "", grouped( plainSum ) ) );
  bool const loaded = result.outcome == CompileOutcome::loaded;
  write( fmt::format( "{} chip {} in {:.1f} ms; {}\n\n", loaded ? "loaded into" : "not loaded into", profile.name,
                      milliseconds, loaded ? proofText( proved ) : "not verified" ) );
  writeAcls( policy, result, write );
  writeCapacities( result, profile, write );
  writeLabels( result, write );

  std::vector<Host::RuleUse const*> rules;
  rules.reserve( result.rules.size() );
  for ( Host::RuleUse const& rule : result.rules ) rules.push_back( &rule );
  std::size_t const shown = std::min( rules.size(), Host::kCostliest );
  // Of equally many entries, the first rule first: they stand in one vector.
  std::partial_sort(
      rules.begin(), rules.begin() + static_cast<std::ptrdiff_t>( shown ), rules.end(),
      []( auto const* a, auto const* b ) { return a->entries != b->entries ? a->entries > b->entries : a < b; } );
  rules.resize( shown );
  if ( !rules.empty() ) write( "\ncostliest rules\n" );
  for ( Host::RuleUse const* rule : rules )
    write( fmt::format( "{} {}", Host::userAclName( rule->acl.aclName ).second,
                        ruleLine( *rule, plainEntriesOf( *rule, policy ) ) ) );
}

std::string entryLine( PDAclFilter const& entry ) {
  std::string line;
  auto const add = [&]( auto const& field ) {
    EncodedLabelWithMask const& value = entry.*field.getter;
    if ( value.mask.value() != 0 )
      line += fmt::format( " {} {}/{}", field.name, value.label.value(), value.mask.value() );
  };
  std::apply( [&]( auto const&... fields ) { ( add( fields ), ... ); }, PDAclFilter::fields() );
  return line.empty() ? " anything" : line;
}

void writeRules( CompileResult const& result, Host::Policy const& policy, Sink const& write ) {
  PDAclKey const* acl = nullptr;
  for ( Host::RuleUse const& use : result.rules ) {
    if ( !acl || *acl != use.acl )
      write(
          fmt::format( "{} ACL {}\n", Kiv::stringValue( use.acl.af ), Host::userAclName( use.acl.aclName ).second ) );
    acl = &use.acl;
    auto const rule = result.snapshot->pdAclColl()->pdAcl().find( use.acl )->rule().find( AceIndex( use.index ) );
    write( "  " + ruleLine( use, plainEntriesOf( use, policy ) ) );
    for ( PDAclFilter const& entry : rule->filter() )
      write( fmt::format( "   {}: {}\n", entryLine( entry ), rule->action().dropEnabled ? "deny" : "permit" ) );
  }
}

void writeLabelTables( PDData const& snapshot, Verify::TableShape const& shape, Sink const& write ) {
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) {
    write( fmt::format( "\n{} {}, otherwise {}\n", Kiv::stringValue( space.af() ),
                        space.src() ? "source" : "destination", shape.prefix( space ).invalid ) );
    if ( auto const table = snapshot.pdPrefixXformEntryColl().find( space ) )
      for ( auto const& [prefix, entry] : table->entry() )
        write( fmt::format( "  {} -> {}\n", Host::textOf( prefix ), entry.value.value() ) );
  }
  for ( Host::Field const field : Host::kFields ) {
    if ( !shape.ranges[field].on ) continue;
    write( fmt::format( "\n{}, otherwise {}\n", Kiv::stringValue( field ), shape.ranges[field].invalid ) );
    for ( auto const& [range, entry] : snapshot.rangeEntryColl( Host::rangeTableOf( field ) )->entry() )
      write( fmt::format( "  {}-{} -> {}\n", range.first(), range.last(), entry.value.value() ) );
  }
  for ( ComboLabelSetType const type : Host::kCombos ) {
    if ( !shape.combo( type ).on ) continue;
    write( fmt::format( "\n{}, otherwise {}\n", Kiv::stringValue( type ), shape.combo( type ).invalid ) );
    for ( auto const& [pair, entry] : snapshot.comboEntryColl( type )->entry() )
      write( fmt::format( "  {},{} -> {}\n", pair.srcLabel.value(), pair.dstLabel.value(), entry.value.value() ) );
  }
}

void writeTable( Host::Policy const& policy, Host::ChipProfile const& profile, CompileResult const& result,
                 Sink const& write ) {
  writeRules( result, policy, write );
  writeLabelTables( *result.snapshot, Host::shapeOf( profile ), write );
  writeCapacities( result, profile, write );
  writeLabels( result, write );
}

void writeResult( CompileOptions const& options, Host::Policy const& policy, Host::ChipProfile const& profile,
                  Host::ProvedResult const& proved ) {
  CompileResult const& result = proved.compile;
  Host::OutputFile output( options.output );
  Sink const write = [&output]( std::string_view text ) { output.write( text ); };
  switch ( options.format ) {
    case CompileFormat::summary:
      writeSummary( policy, profile, proved, write );
      break;
    case CompileFormat::table:
      writeTable( policy, profile, result, write );
      break;
    case CompileFormat::json:
      Host::writeSnapshotJson( *result.snapshot, policy, Host::shapeOf( profile ), kChip, write );
      break;
  }
  output.commit();
}

/// The chip was not asked, because nothing was to be proved. Where the table does not fit, that is said instead.
bool isLeftUnproved( CompileResult const& result, CompileOptions const& options ) {
  return !options.verify && result.outcome == CompileOutcome::refused && result.shortages.empty();
}

/// Finds what "check" would warn of, and says how much it is: all of it would hide the summary.
Host::Diagnostics lintWarnings( Host::LocatedPolicy const& located, CompileOptions const& options ) {
  Host::Diagnostics findings;
  bool const isToBeSaid = !options.console.quiet && options.format == CompileFormat::summary;
  if ( isToBeSaid || !options.report.empty() ) Host::lint( located, findings );
  if ( isToBeSaid && findings.warnings() != 0 )
    tell( fmt::format( "{} about what the rules mean; \"orvex check\" shows them\n",
                       counted( findings.warnings(), "warning" ) ) );
  return findings;
}

void writeReport( CompileOptions const& options, Host::LocatedPolicy const& located, Host::ChipProfile const& profile,
                  Host::ProvedResult const& proved, Host::Diagnostics const& readerWarnings,
                  Host::Diagnostics const& lintWarnings ) {
  if ( options.report.empty() ) return;
  Host::OutputFile page( options.report );
  Host::writeReport(
      { options.policy.files, located, profile, proved.compile, proved.proof.isProved(), readerWarnings, lintWarnings },
      [&page]( std::string_view text ) { page.write( text ); } );
  page.commit();
}

/// A line a chip. Done when every chip takes the policy.
int compileForAll( Host::Policy const& policy, CompileOptions const& options ) {
  bool allFit = true;
  Host::OutputFile output( options.output );
  for ( Host::ChipProfile profile : Host::builtInProfiles() ) {
    if ( options.placement ) profile.labelPlacement = *options.placement;
    Host::SoftwareChip chip( kChip, profile );
    CompileResult const result = compiled( policy, chip, options ).compile;
    bool const fits = result.outcome == CompileOutcome::loaded || isLeftUnproved( result, options );
    allFit = allFit && fits;
    std::string line = fmt::format( "{:<16} {:<12}", profile.name, fits ? "fits" : "does not fit" );
    if ( result.snapshot )
      line += fmt::format( " {} of {} entries;", grouped( result.use[Host::Resource::ruleEntries] ),
                           capacityText( profile.capacities[Host::Resource::ruleEntries] ) );
    for ( Host::LabelUse const& labels : result.labels )
      if ( labels.needed != 0 ) line += fmt::format( " {} {}/{}", labels.table, labels.needed, labels.available );
    if ( !fits ) line += "; " + result.message;
    output.write( line + "\n" );
  }
  output.commit();
  return allFit ? kDone : kAnswerIsNo;
}

/// A line for the plain expansion and one for each placement. Done when every table is proved.
int comparePlacements( Host::Policy const& policy, Host::ChipProfile const& profile, CompileOptions const& options ) {
  constexpr std::array<LabelPlacement, 2> kPlacements = { LabelPlacement::costOrder, LabelPlacement::nested };
  Host::OutputFile output( options.output );
  std::uint64_t const plain = Host::plainEntries( policy );
  double const rules = static_cast<double>( std::max<std::uint64_t>( 1, rulesIn( policy ) ) );
  output.write( fmt::format( "{:<10}{:>13}{:>8}{:>11}{:>7}{:>14}  bits\n", "placement", "entries", "a rule",
                             "addresses", "ports", "label entries" ) );
  output.write(
      fmt::format( "{:<10}{:>13}{:>8.3f}\n", "plain", grouped( plain ), static_cast<double>( plain ) / rules ) );
  bool allGood = true;
  for ( LabelPlacement const placement : kPlacements ) {
    auto const figures = Host::figuresOf( policy, profile, placement,
                                          options.verify ? Host::ProofMode::prove : Host::ProofMode::loadNothing );
    CompileResult const& result = figures.result.compile;
    bool const good = result.outcome == CompileOutcome::loaded || isLeftUnproved( result, options );
    allGood = allGood && good;
    std::string line = fmt::format( "{:<10}", Kiv::stringValue( placement ) );
    if ( figures.isCompiled() ) {
      line += fmt::format( "{:>13}{:>8.3f}{:>11.3f}{:>7.3f}{:>14} ", grouped( figures.entries ),
                           static_cast<double>( figures.entries ) / rules, figures.addressListLength,
                           figures.portListLength, grouped( figures.labelEntries ) );
      for ( Host::TableBits const& table : figures.tables )
        line += fmt::format( " {} {}{}", table.table, table.bits, &table == &figures.tables.back() ? "" : "," );
    }
    output.write( line + ( good ? "\n" : fmt::format( "  {}\n", result.message ) ) );
  }
  output.commit();
  return allGood ? kDone : kAnswerIsNo;
}

}  // namespace

int compile( CompileOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  bool const forAll = options.chip == "all";
  auto profile = forAll ? Host::builtInProfiles().front() : readChip( options.chip, diagnostics );
  show( diagnostics, options.console );
  if ( !located || !profile ) return kQuestionIsWrong;
  if ( !options.report.empty() && ( forAll || options.report == options.output ) ) {
    showError( forAll ? "a report is of one chip; give --chip a name or a file"
                      : "the report and the output are one file; give --report another",
               options.console );
    return kQuestionIsWrong;
  }
  Host::Diagnostics const findings = lintWarnings( *located, options );
  if ( options.placement ) profile->labelPlacement = *options.placement;
  if ( options.comparePlacements && forAll ) {
    showError( "placements are compared on one chip; give --chip a name or a file", options.console );
    return kQuestionIsWrong;
  }
  if ( options.comparePlacements ) return comparePlacements( located->policy, *profile, options );
  if ( forAll ) return compileForAll( located->policy, options );

  Host::SoftwareChip chip( kChip, *profile );
  Host::ProvedResult const proved = compiled( located->policy, chip, options );
  CompileResult const& result = proved.compile;
  writeReport( options, *located, *profile, proved, diagnostics, findings );
  if ( isLeftUnproved( result, options ) ) {
    showWarning( "the table is not proved to be the policy, and nothing is loaded", options.console );
  } else if ( result.outcome != CompileOutcome::loaded ) {
    showError( fmt::format( "the policy is not loaded into chip {}: {}", profile->name, result.message ),
               options.console );
    showRemedies( *located, *profile, result, options.console );
    return kAnswerIsNo;
  }
  writeResult( options, located->policy, *profile, proved );
  return kDone;
}

}  // namespace Orvex::Cli
