#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "Inputs.h"
#include "Remedies.h"
#include "chip/SoftwareChip.h"
#include "output/OutputFile.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "update/UpdateOrder.h"

namespace Orvex::Cli {

namespace {

using Json = nlohmann::ordered_json;
using Host::ChangeCounts;
using Host::CompileOutcome;

/// Both versions as they were loaded, and what lies between them.
struct Update {
  Host::ChipProfile const& profile;
  Host::ProvedResult const& oldTable;
  Host::ProvedResult const& newTable;
  Host::Delta delta;
  Host::UpdateOrder order;

  std::string_view load() const { return newTable.compile.hitful ? "hitful" : "hitless"; }
  ChangeCounts rows() const {
    ChangeCounts sum;
    for ( auto const& table : delta.tables ) sum += table.rows;
    return sum;
  }
  ChangeCounts entries() const {
    ChangeCounts sum;
    for ( auto const& acl : delta.acls ) sum += acl.entries;
    return sum;
  }
};

std::string aclText( PDAclKey const& acl ) {
  return fmt::format( "{} ACL {}", Kiv::stringValue( acl.af ), Host::userAclName( acl.aclName ).second );
}

double percentOf( std::uint64_t part, ChangeCounts const& counts ) {
  std::uint64_t const all = counts.kept + counts.changed + counts.added + counts.removed;
  return all == 0 ? 0 : 100 * static_cast<double>( part ) / static_cast<double>( all );
}

// Text

std::string countsLine( std::string_view what, std::size_t width, ChangeCounts const& counts ) {
  std::string line = fmt::format( "{:<{}}", what, width );
  for ( std::uint64_t const part : { counts.kept, counts.changed, counts.added, counts.removed } )
    line += fmt::format( "  {:>9} {:>5.1f}%", grouped( part ), percentOf( part, counts ) );
  return line + "\n";
}

std::string countsText( Update const& update ) {
  std::vector<std::pair<std::string, ChangeCounts>> changed;
  std::string unchanged;
  auto const add = [&]( std::string name, ChangeCounts const& counts ) {
    if ( counts.isChanged() )
      changed.emplace_back( std::move( name ), counts );
    else if ( counts.kept != 0 )
      unchanged += ( unchanged.empty() ? "" : ", " ) + name;
  };
  for ( auto const& acl : update.delta.acls ) add( aclText( acl.acl ), acl.entries );
  for ( auto const& table : update.delta.tables ) add( table.table, table.rows );
  std::size_t width = 12;
  for ( auto const& [name, counts] : changed ) width = std::max( width, name.size() + 2 );
  std::string text =
      fmt::format( "{:<{}}  {:>16}  {:>16}  {:>16}  {:>16}\n", "", width, "kept", "changed", "added", "removed" );
  text += countsLine( "entries", width, update.entries() );
  text += countsLine( "label rows", width, update.rows() );
  if ( !changed.empty() ) text += "changed tables\n";
  for ( auto const& [name, counts] : changed ) text += countsLine( "  " + name, width, counts );
  if ( !unchanged.empty() ) text += "unchanged tables: " + unchanged + "\n";
  return text;
}

std::string occupancyText( Update const& update ) {
  std::string text =
      fmt::format( "\n{:<20}{:>11}{:>12}{:>14}{:>12}\n", "capacity", "old", "new", "side by side", "of" );
  for ( Host::Resource const resource : Host::kResources ) {
    std::uint64_t const old = update.oldTable.compile.use[resource];
    std::uint64_t const now = update.newTable.compile.use[resource];
    std::uint64_t const capacity = update.profile.capacities[resource];
    if ( capacity == 0 && old + now == 0 ) continue;
    text +=
        fmt::format( "{:<20}{:>11}{:>12}{:>14}{:>12}\n", Kiv::stringValue( resource ), grouped( old ), grouped( now ),
                     grouped( old + now ), capacity == Host::kUnlimited ? "no limit" : grouped( capacity ) );
  }
  return text;
}

std::string orderText( Update const& update ) {
  if ( update.delta.isEmpty() ) return "in place: nothing is to be written";
  if ( update.order.writes )
    return fmt::format( "in place: hitless, in an order of {} that is proved to keep what both versions treat alike",
                        counted( update.order.writes->size(), "write" ) );
  return "in place: hitful; " + update.order.reason;
}

std::string textOf( Update const& update ) {
  auto const milliseconds = []( Host::ProvedResult const& proved ) {
    return std::chrono::duration<double, std::milli>( proved.proofTime ).count();
  };
  return fmt::format(
      "loaded into chip {}: {}; both versions proved equal to their policies, in {:.1f} and {:.1f} ms\n{}\n\n{}{}",
      update.profile.name, update.load(), milliseconds( update.oldTable ), milliseconds( update.newTable ),
      orderText( update ), countsText( update ), occupancyText( update ) );
}

// JSON

Json countsJson( ChangeCounts const& counts ) {
  return { { "kept", counts.kept },
           { "changed", counts.changed },
           { "added", counts.added },
           { "removed", counts.removed },
           { "keptPercent", std::round( 10 * percentOf( counts.kept, counts ) ) / 10 } };
}

template <class Write>
char const* operationOf( Write const& write ) {
  return !write.before ? "add" : !write.after ? "delete" : "change";
}

Json aclJson( char const* operation, PDAclKey const& acl ) {
  return { { "op", operation },
           { "family", Kiv::stringValue( acl.af ) },
           { "acl", Host::userAclName( acl.aclName ).second } };
}

Json actionJson( OrvexActionValue const& action ) {
  return { { "drop", action.dropEnabled },
           { "log", action.logEnabled },
           { "dscp", action.setDscpEnabled ? Json( action.dscp.value() ) : Json() },
           { "tc", action.setTcEnabled ? Json( action.tc.value() ) : Json() },
           { "sflow", action.sflowEnabled } };
}

Json jsonOf( Host::RowWrite const& write ) {
  Json json = { { "op", operationOf( write ) }, { "table", Host::tableText( write.table ) } };
  if ( auto const* const prefix = std::get_if<Vell::IpGenPrefix>( &write.key ) ) {
    json["prefix"] = Host::textOf( *prefix );
  } else if ( auto const* const range = std::get_if<RangeSetElem>( &write.key ) ) {
    json["first"] = range->first();
    json["last"] = range->last();
  } else {
    auto const& pair = std::get<EncodedComboLabel>( write.key );
    json["srcLabel"] = pair.srcLabel.value();
    json["dstLabel"] = pair.dstLabel.value();
  }
  json["label"] = write.after ? *write.after : *write.before;
  return json;
}

Json jsonOf( Host::EntryWrite const& write ) {
  Json json = aclJson( operationOf( write ), write.acl );
  json["rule"] = write.rule;
  Json entry = Json::object();
  auto const add = [&]( auto const& field ) {
    EncodedLabelWithMask const& value = write.entry.*field.getter;
    if ( value.mask.value() != 0 ) entry[std::string( field.name )] = { value.label.value(), value.mask.value() };
  };
  std::apply( [&]( auto const&... fields ) { ( add( fields ), ... ); }, PDAclFilter::fields() );
  json["entry"] = std::move( entry );
  json["action"] = actionJson( write.after ? *write.after : *write.before );
  return json;
}

Json jsonOf( Host::DefaultWrite const& write ) {
  Json json = aclJson( "change", write.acl );
  json["default"] = Kiv::stringValue( write.after );
  return json;
}

std::string dump( Json const& json ) { return json.dump( -1, ' ', false, Json::error_handler_t::replace ); }

void writeJson( Update const& update, Host::OutputFile& output ) {
  Json tables = Json::array();
  for ( auto const& acl : update.delta.acls )
    if ( acl.entries.isChanged() ) tables.push_back( aclText( acl.acl ) );
  for ( auto const& table : update.delta.tables )
    if ( table.rows.isChanged() ) tables.push_back( table.table );
  Json peak = Json::object();
  for ( Host::Resource const resource : Host::kResources )
    peak[std::string( Kiv::stringValue( resource ) )] =
        update.oldTable.compile.use[resource] + update.newTable.compile.use[resource];
  bool const isOrdered = update.order.writes.has_value();
  output.write( fmt::format( "{{\"schema\": \"orvex.update/1\", \"load\": \"{}\", \"inPlace\": \"{}\",\n",
                             update.load(), isOrdered ? "hitless" : "hitful" ) );
  output.write( fmt::format( "\"entries\": {},\n\"rows\": {},\n\"changedTables\": {},\n\"sideBySide\": {},\n",
                             dump( countsJson( update.entries() ) ), dump( countsJson( update.rows() ) ),
                             dump( tables ), dump( peak ) ) );
  if ( !isOrdered ) {
    output.write( fmt::format( "\"operations\": null, \"reason\": {}}}\n", dump( update.order.reason ) ) );
    return;
  }
  output.write( "\"operations\": [" );
  char const* separator = "\n";
  for ( Host::UpdateWrite const& write : *update.order.writes ) {
    output.write( separator + dump( std::visit( []( auto const& one ) { return jsonOf( one ); }, write ) ) );
    separator = ",\n";
  }
  output.write( "]}\n" );
}

std::optional<Host::LocatedPolicy> readOne( UpdateOptions const& options, std::size_t number ) {
  Host::Diagnostics diagnostics;
  PolicyOptions one = options.policy;
  one.files = { options.policy.files[number] };
  auto located = readPolicy( one, diagnostics );
  show( diagnostics, options.console );
  return located;
}

}  // namespace

int update( UpdateOptions const& options ) {
  if ( options.policy.files.size() != 2 ) {
    showError( "update takes two policies, the old one and the new one, each in one file", options.console );
    return kQuestionIsWrong;
  }
  Host::Diagnostics diagnostics;
  auto const profile = readChip( options.chip, diagnostics );
  show( diagnostics, options.console );
  auto const old = readOne( options, 0 );
  auto const now = readOne( options, 1 );
  if ( !profile || !old || !now ) return kQuestionIsWrong;

  Host::SoftwareChip chip( Brae::ChipId( 0 ), *profile );
  auto const oldTable = Host::compileProved( old->policy, chip );
  if ( oldTable.compile.outcome != CompileOutcome::loaded ) {
    showError( fmt::format( "the old policy is not loaded into chip {}: {}", profile->name, oldTable.compile.message ),
               options.console );
    return kAnswerIsNo;
  }
  auto const newTable = Host::compileProved( now->policy, chip );
  if ( newTable.compile.outcome != CompileOutcome::loaded ) {
    showError( fmt::format( "refused: the new policy is not loaded into chip {}, and the old one stays: {}",
                            profile->name, newTable.compile.message ),
               options.console );
    showRemedies( *now, *profile, newTable.compile, options.console );
    return kAnswerIsNo;
  }
  Host::TableVersion const before{ old->policy, *oldTable.compile.snapshot };
  Host::TableVersion const after{ now->policy, *newTable.compile.snapshot };
  Host::Delta delta = deltaOf( before, after, shapeOf( *profile ) );
  Host::UpdateOrder order = findUpdateOrder( delta, before, after, *profile );
  Update const update{ *profile, oldTable, newTable, std::move( delta ), std::move( order ) };
  Host::OutputFile output( options.output );
  if ( options.format == UpdateFormat::json )
    writeJson( update, output );
  else
    output.write( textOf( update ) );
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
