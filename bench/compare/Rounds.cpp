#include "compare/Rounds.h"

#include <algorithm>

namespace Orvex::Bench {

namespace {

void runOnce( ComparedSet const& set, Contender const& contender, Result& result ) {
  if ( !contender.missing.empty() ) result.failure = contender.missing;
  if ( !result.failure.empty() ) return;
  Measurement measurement = contender.run( set );
  if ( measurement.failure.empty() ) {
    result.samples.push_back( std::move( measurement ) );
  } else {
    result.samples.clear();
    result.failure = measurement.failure;
  }
}

double valueOf( Measurement const& measurement, Measure measure ) {
  if ( measure == Measure::wall ) return measurement.wallSeconds;
  return measure == Measure::cpu ? measurement.cpuSeconds : static_cast<double>( measurement.peakBytes );
}

}  // namespace

double medianOf( std::vector<double> values ) {
  std::sort( values.begin(), values.end() );
  std::size_t const middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : ( values[middle - 1] + values[middle] ) / 2;
}

std::optional<double> Result::median( Measure measure ) const {
  if ( samples.empty() ) return std::nullopt;
  std::vector<double> values;
  for ( Measurement const& sample : samples ) values.push_back( valueOf( sample, measure ) );
  return medianOf( std::move( values ) );
}

std::optional<double> Result::fact( std::string const& name ) const {
  if ( samples.empty() ) return std::nullopt;
  auto const found = samples.back().facts.find( name );
  return found == samples.back().facts.end() ? std::nullopt : std::optional( found->second );
}

Result const& Results::of( ComparedSet const& set, std::string const& contender ) const {
  static Result const kNone;
  auto const found = results_.find( { set.name, contender } );
  return found == results_.end() ? kNone : found->second;
}

std::optional<double> Results::ratio( ComparedSet const& set, Measure measure, std::string const& contender,
                                      std::string const& against ) const {
  auto const figure = of( set, contender ).median( measure );
  auto const other = of( set, against ).median( measure );
  return figure && other && *other > 0 ? std::optional( *figure / *other ) : std::nullopt;
}

Results runRounds( std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders, std::uint64_t rounds,
                   std::function<void( std::string const& )> const& progress ) {
  Results results;
  for ( std::uint64_t round = 1; round <= rounds; ++round )
    for ( ComparedSet const& set : sets )
      for ( Contender const& contender : contenders ) {
        progress( "round " + std::to_string( round ) + ", " + set.name + ", " + contender.name );
        runOnce( set, contender, results.of( set, contender.name ) );
      }
  return results;
}

}  // namespace Orvex::Bench
