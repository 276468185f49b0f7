#include "compare/Targets.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace Orvex::Bench {

namespace {

constexpr double kMebibyte = 1024.0 * 1024.0;
constexpr std::uint64_t kSmallest = 1000;

using Figures = std::vector<double>;
using Filter = std::function<bool( ComparedSet const& )>;

std::optional<double> greatest( Figures const& figures ) {
  return figures.empty() ? std::nullopt : std::optional( *std::max_element( figures.begin(), figures.end() ) );
}

std::optional<double> geometricMean( Figures const& figures ) {
  if ( figures.empty() ) return std::nullopt;
  double sum = 0;
  for ( double const figure : figures ) sum += std::log( figure );
  return std::exp( sum / static_cast<double>( figures.size() ) );
}

/// Makes targets about one comparison's sets.
class TargetMaker {
 public:
  TargetMaker( std::vector<ComparedSet> const& sets, Results const& results ) : sets_( sets ), results_( results ) {}

  using Summary = std::optional<double> ( * )( Figures const& );

  /// One contender's measure as a part of another's, over the sets that pass.
  Target ratio( std::string what, double bound, Summary summary, Filter const& passes, Measure measure,
                char const* contender, char const* against ) const {
    auto const figures = [&]( Measure each ) {
      Figures found;
      for ( ComparedSet const& set : sets_ )
        if ( auto const ratio = results_.ratio( set, each, contender, against ); ratio && passes( set ) )
          found.push_back( *ratio );
      return found;
    };
    Target target{ std::move( what ), bound, false, summary( figures( measure ) ) };
    if ( measure == Measure::wall ) target.cpuFigure = summary( figures( Measure::cpu ) );
    return target;
  }

  Target growth( std::string what, double bound, Measure measure, char const* contender ) const {
    auto const figures = [&]( Measure each ) {
      Figures found;
      for ( Growth const& growth : growths( sets_ ) )
        if ( auto const figure = growthOf( growth, each, contender, results_ ) ) found.push_back( *figure );
      return found;
    };
    Target target{ std::move( what ), bound, false, greatest( figures( measure ) ) };
    if ( measure == Measure::wall ) target.cpuFigure = greatest( figures( Measure::cpu ) );
    return target;
  }

  Target memory( std::string what, double bound, Filter const& passes, char const* contender ) const {
    Figures found;
    for ( ComparedSet const& set : sets_ )
      if ( auto const peak = results_.of( set, contender ).median( Measure::peak ); peak && passes( set ) )
        found.push_back( *peak / kMebibyte );
    return { std::move( what ), bound, false, greatest( found ) };
  }

 private:
  std::vector<ComparedSet> const& sets_;
  Results const& results_;
};

Filter ofSize( std::uint64_t size ) {
  return [size]( ComparedSet const& set ) { return set.isAbout( size ); };
}

/// Of these styles in IPv4: those given when there are any, else those generated.
Filter ofStyle( std::vector<ComparedSet> const& sets, std::vector<std::string> const& beginnings ) {
  bool const given = std::any_of( sets.begin(), sets.end(), []( ComparedSet const& set ) { return !set.generated; } );
  return [=]( ComparedSet const& set ) {
    bool const named = std::any_of( beginnings.begin(), beginnings.end(), [&]( std::string const& beginning ) {
      return set.series.starts_with( beginning );
    } );
    return named && !set.ipv6 && set.generated != given && set.isAbout( kSmall );
  };
}

void addListTargets( std::vector<PolicyRow> const& policies, std::vector<Target>& targets ) {
  for ( PolicyRow const& row : policies ) {
    if ( row.bound.seconds > 0 )
      targets.push_back( { row.title() + ", seconds", row.bound.seconds, false, row.wallSeconds(), row.cpuSeconds() } );
    if ( row.bound.peakMebibytes > 0 )
      targets.push_back( { row.title() + ", MiB", row.bound.peakMebibytes, false, row.peakMebibytes() } );
    if ( row.bound.costsNamed > 0 )
      targets.push_back( { row.title() + ", rules or lists named", row.bound.costsNamed, true, row.costsNamed() } );
  }
}

std::string verdictOf( Target const& target ) {
  if ( !target.figure ) return "not measured";
  if ( target.isMetBy( target.figure ) ) return "met";
  return target.isMetBy( target.cpuFigure ) ? "NOT MET, but by processors" : "NOT MET";
}

}  // namespace

std::vector<Target> targetsOf( std::vector<ComparedSet> const& sets, Results const& results,
                               std::vector<PolicyRow> const& policies, std::optional<LookUpRates> const& lookUps ) {
  TargetMaker const make( sets, results );
  auto const ofLarge = ofSize( kLarge );
  std::vector<Target> targets = {
      make.ratio( "orvex compile / nft -c -f, acl, 10,000 rules", 0.3, greatest, ofStyle( sets, { "acl" } ),
                  Measure::wall, kCommand, kNftCheck ),
      make.ratio( "orvex compile / nft -c -f, firewall, 10,000 rules", 0.4, greatest,
                  ofStyle( sets, { "fw", "firewall" } ), Measure::wall, kCommand, kNftCheck ),
      make.ratio( "orvex compile / nft -c -f, chain, 10,000 rules", 0.3, greatest, ofStyle( sets, { "ipc", "chain" } ),
                  Measure::wall, kCommand, kNftCheck ),
      make.ratio( "kick / librte_acl, 10,000 rules, geometric mean", 0.1, geometricMean, ofSize( kSmall ),
                  Measure::wall, kKick, kRteAcl ),
      make.ratio( "kick / librte_acl, 10,000 rules, greatest", 0.2, greatest, ofSize( kSmall ), Measure::wall, kKick,
                  kRteAcl ),
      make.ratio( "kick / librte_acl, 1,000 rules, greatest", 0.3, greatest, ofSize( kSmallest ), Measure::wall, kKick,
                  kRteAcl ),
      make.growth( "kick from 10,000 to 100,000 rules, time", 13, Measure::wall, kKick ),
      make.growth( "kick from 10,000 to 100,000 rules, memory", 13, Measure::peak, kKick ),
      make.growth( "orvex compile from 10,000 to 100,000 rules, time", 13, Measure::wall, kCommand ),
      make.growth( "orvex compile from 10,000 to 100,000 rules, memory", 13, Measure::peak, kCommand ),
      make.ratio( "kick / librte_acl, 100,000 rules, greatest", 1, greatest, ofLarge, Measure::wall, kKick, kRteAcl ),
      make.ratio( "kick / librte_acl, 100,000 rules, memory, greatest", 1, greatest, ofLarge, Measure::peak, kKick,
                  kRteAcl ),
      make.memory( "orvex compile, 100,000 rules, MiB", 1024, ofLarge, kCommand ) };
  addListTargets( policies, targets );
  Target rate{ "look-ups a second of the software chip, acl, 10,000 rules", 1e6, true, std::nullopt };
  if ( lookUps ) {
    rate.figure = lookUps->bySecond;
    rate.cpuFigure = lookUps->byCpuSecond;
  }
  targets.push_back( std::move( rate ) );
  return targets;
}

Table tableOfTargets( std::vector<Target> const& targets ) {
  Table table;
  table.title = "Targets";
  table.headers = { "what", "bound", "measured", "by processors", "verdict" };
  for ( Target const& target : targets )
    table.rows.push_back( { target.what, ( target.isLeast ? "at least " : "at most " ) + numberText( target.bound ),
                            numberText( target.figure ), numberText( target.cpuFigure ), verdictOf( target ) } );
  return table;
}

}  // namespace Orvex::Bench
