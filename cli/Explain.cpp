#include "explain/Explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "Inputs.h"
#include "chip/SoftwareChip.h"
#include "input/NearestWord.h"
#include "output/OutputFile.h"
#include "packets/PacketJson.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/NumberNames.h"

namespace Orvex::Cli {

namespace {

using Json = nlohmann::ordered_json;

// The packet

/// The names that a packet's field has for its numbers.
Host::NumberNames const& namesOf( std::string const& field, bool isIpv6 ) {
  if ( field == "proto" ) return Host::kProtocolNames;
  if ( field == "sport" || field == "dport" ) return Host::kServiceNames;
  if ( field == "dscp" ) return Host::kDscpNames;
  if ( field == "icmpType" )
    return Host::icmpTypeNames( isIpv6 ? Vell::AddressFamily::ipv6 : Vell::AddressFamily::ipv4 );
  return Host::kNoNames;
}

std::optional<std::uint64_t> numberIn( std::string const& text ) {
  std::uint64_t number = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
  return error == std::errc() && end == text.data() + text.size() ? std::optional( number ) : std::nullopt;
}

/// The packet of --src, --dst and so on as --packet would have it; nothing, with an error, when a word is no number.
std::optional<std::string> packetText( ExplainOptions const& options, Host::Diagnostics& diagnostics ) {
  if ( !options.packet.empty() ) {
    if ( options.fields.empty() && options.acl.empty() ) return options.packet;
    diagnostics.error( {}, "the packet is given twice", "give either --packet or its fields" );
    return std::nullopt;
  }
  auto const source = options.fields.find( "src" );
  bool const isIpv6 = source != options.fields.end() && source->second.find( ':' ) != std::string::npos;
  Json packet = { { "acl", options.acl } };
  for ( auto const& [field, text] : options.fields ) {
    if ( field == "src" || field == "dst" ) {
      packet[field] = text;
      continue;
    }
    Host::NumberNames const& names = namesOf( field, isIpv6 );
    auto const named = names.number( text );
    auto const number = named ? std::optional<std::uint64_t>( *named ) : numberIn( text );
    if ( !number ) {
      Host::NearestWord nearest( text );
      names.considerFor( nearest );
      std::string const question = nearest.question();
      diagnostics.error( {}, Host::inQuotes( text ) + " is no value of " + field,
                         question.empty() ? "write a number" : question );
      return std::nullopt;
    }
    packet[field] = *number;
  }
  return packet.dump( -1, ' ', false, Json::error_handler_t::replace );
}

/// The packet, and the ACL that it asks: the only one of its family, unless it names one.
struct Question {
  Host::AskedPacket asked;
  Host::Acl const* acl = nullptr;
};

std::optional<Question> readQuestion( ExplainOptions const& options, Host::Policy const& policy,
                                      Host::Diagnostics& diagnostics ) {
  auto const text = packetText( options, diagnostics );
  if ( !text ) return std::nullopt;
  auto const file = Host::SourceFile::fromText( "the packet", *text, diagnostics );
  auto const packets = Host::readPackets( *file, diagnostics );
  if ( !packets ) return std::nullopt;
  if ( packets->size() != 1 ) {
    diagnostics.error( {}, "there is not one packet", "give --packet '{...}', or --src and --dst" );
    return std::nullopt;
  }
  Question question{ packets->front(), nullptr };
  Vell::AddressFamily const family = question.asked.packet.source.af();
  Host::NearestWord nearest( question.asked.acl );
  std::size_t candidates = 0;
  for ( Host::Acl const& acl : policy.acls ) {
    nearest.consider( acl.name );
    if ( acl.family != family || ( !question.asked.acl.empty() && acl.name != question.asked.acl ) ) continue;
    ++candidates;
    question.acl = &acl;
  }
  if ( candidates == 1 ) {
    question.asked.acl = question.acl->name;
    return question;
  }
  std::string const familyName = family == Vell::AddressFamily::ipv4 ? "IPv4" : "IPv6";
  if ( candidates == 0 && !question.asked.acl.empty() )
    diagnostics.error( {}, fmt::format( "there is no {} ACL {}", familyName, Host::inQuotes( question.asked.acl ) ),
                       nearest.question() );
  else
    diagnostics.error( {},
                       candidates == 0 ? "there is no " + familyName + " ACL"
                                       : fmt::format( "there are {} {} ACLs", candidates, familyName ),
                       candidates == 0 ? "" : "say which, with --acl" );
  return std::nullopt;
}

// The answer

std::string actionText( OrvexActionValue const& action ) {
  std::string text = action.dropEnabled ? "deny" : "permit";
  if ( action.logEnabled ) text += ", log";
  if ( action.setDscpEnabled ) text += fmt::format( ", set DSCP {}", action.dscp.value() );
  if ( action.setTcEnabled ) text += fmt::format( ", set traffic class {}", action.tc.value() );
  if ( action.sflowEnabled ) text += ", sflow";
  return text;
}

std::string placeText( Host::Place const& place ) {
  return place.file ? fmt::format( "{}:{}:{}", place.file->name(), place.line, place.column ) : "";
}

/// The line, without its indentation; of a long one, as files without line ends have, the beginning.
std::string lineOf( Host::Place const& place ) {
  constexpr std::size_t kMostBytes = 160;
  if ( !place.file || place.line == 0 ) return "";
  std::string_view line = place.file->line( place.line );
  line.remove_prefix( std::min( line.find_first_not_of( " \t" ), line.size() ) );
  if ( line.size() <= kMostBytes ) return std::string( line );
  std::size_t end = kMostBytes;
  while ( end != 0 && ( static_cast<unsigned char>( line[end] ) & 0xC0U ) == 0x80U ) --end;
  return std::string( line.substr( 0, end ) ) + " ...";
}

std::string listedText( std::string_view side, Vell::IpGenPrefix const& address, Host::ListedAddress const& listed ) {
  std::string const text = Host::textOf( address );
  std::string const bare = text.substr( 0, text.find( '/' ) );
  if ( !listed.prefix ) return fmt::format( "{} {}: any\n", side, bare );
  std::string const place = placeText( listed.definition );
  std::string const list = listed.list.empty() ? "" : " of prefix list " + listed.list;
  return fmt::format( "{} {} is in {}{}{}\n", side, bare, Host::textOf( *listed.prefix ), list,
                      place.empty() ? "" : " (" + place + ")" );
}

/// What was found, with the places of rules in the user's files.
class Answer {
 public:
  Answer( Host::LocatedPolicy const& located, Question const& question, Host::Explanation const& explanation )
      : located_( located ), question_( question ), explanation_( explanation ) {}

  std::string text() const {
    Verify::Verdict const& verdict = explanation_.verdict;
    std::string text = Host::packetJson( question_.asked.acl, question_.asked.packet ) + "\n";
    if ( verdict.rule ) {
      Host::Place const place = placeOf( *verdict.rule );
      text += fmt::format( "{}: rule {} of {} ACL {}\n", actionText( verdict.action ), *verdict.rule, familyText(),
                           question_.acl->name );
      if ( place.file ) text += fmt::format( "  {}: {}\n", placeText( place ), lineOf( place ) );
      text += "  " + listedText( "source", question_.asked.packet.source, explanation_.source );
      text += "  " + listedText( "destination", question_.asked.packet.destination, explanation_.destination );
    } else {
      text += fmt::format( "{}: the default of {} ACL {}, as no rule matches\n", actionText( verdict.action ),
                           familyText(), question_.acl->name );
    }
    return text + keyText() + nearMissText();
  }

  std::string json() const {
    Verify::Verdict const& verdict = explanation_.verdict;
    Json json;
    json["packet"] = Json::parse( Host::packetJson( question_.asked.acl, question_.asked.packet ) );
    json["family"] = familyText();
    json["rule"] = verdict.rule ? Json( *verdict.rule ) : Json();
    json["action"] = actionJson( verdict.action );
    json["place"] = verdict.rule ? placeJson( placeOf( *verdict.rule ) ) : Json();
    json["source"] = listedJson( explanation_.source );
    json["destination"] = listedJson( explanation_.destination );
    json["entry"] = explanation_.entry
                        ? Json( { { "number", explanation_.entry->number }, { "of", explanation_.entry->ofEntries } } )
                        : Json();
    json["key"] = Json::array();
    for ( Host::KeyField const& field : explanation_.key )
      json["key"].push_back( { { "field", field.name },
                               { "value", field.value },
                               { "table", field.hasTable },
                               { "row", field.row.empty() ? Json() : Json( field.row ) },
                               { "label", field.label },
                               { "entry", { field.wanted.label.value(), field.wanted.mask.value() } } } );
    json["nearMisses"] = Json::array();
    for ( Host::NearMiss const& miss : explanation_.nearMisses )
      json["nearMisses"].push_back( { { "rule", miss.rule },
                                      { "field", miss.field },
                                      { "reason", miss.reason },
                                      { "place", placeJson( placeOf( miss.rule ) ) } } );
    json["furtherNearMisses"] = explanation_.furtherNearMisses;
    return json.dump( 2, ' ', false, Json::error_handler_t::replace ) + "\n";
  }

 private:
  std::string_view familyText() const { return Kiv::stringValue( question_.acl->family ); }
  Host::Place placeOf( std::uint32_t rule ) const {
    return located_.places.placeOf( question_.acl->family, question_.acl->name, rule );
  }

  /// Fields that have a label or that the entry looks at.
  std::string keyText() const {
    std::string text = explanation_.entry ? fmt::format( "\nentry {} of the rule's {}\n", explanation_.entry->number,
                                                         explanation_.entry->ofEntries )
                                          : "\nno entry\n";
    auto const& key = explanation_.key;
    std::size_t valueWidth = 5;
    std::size_t rowWidth = 3;
    for ( Host::KeyField const& field : key ) {
      valueWidth = std::max( valueWidth, field.value.size() );
      rowWidth = std::max( rowWidth, field.row.size() );
    }
    text += fmt::format( "  {:<12}  {:<{}}  {:<{}}  {:>5}  label/mask of the entry\n", "field", "value", valueWidth,
                         "row", rowWidth, "label" );
    for ( Host::KeyField const& field : key ) {
      bool const isWanted = field.wanted.mask.value() != 0;
      if ( !isWanted && !field.hasTable ) continue;
      std::string const row = !field.hasTable ? "" : field.row.empty() ? "-" : field.row;
      std::string const wanted =
          isWanted ? fmt::format( "{}/{}", field.wanted.label.value(), field.wanted.mask.value() ) : "any";
      text += fmt::format( "  {:<12}  {:<{}}  {:<{}}  {:>5}  {}\n", field.name, field.value, valueWidth, row, rowWidth,
                           field.label, explanation_.entry ? wanted : "" );
    }
    return text;
  }

  std::string nearMissText() const {
    if ( explanation_.nearMisses.empty() ) return "\nno rule before it nearly matched\n";
    std::string text = explanation_.verdict.rule ? "\nrules before it that one field kept from matching\n"
                                                 : "\nrules that one field kept from matching\n";
    for ( Host::NearMiss const& miss : explanation_.nearMisses ) {
      std::string const place = placeText( placeOf( miss.rule ) );
      text += fmt::format( "  rule {}{}: {}\n", miss.rule, place.empty() ? "" : " (" + place + ")", miss.reason );
    }
    if ( explanation_.furtherNearMisses != 0 )
      text += fmt::format( "  and {} more\n", grouped( explanation_.furtherNearMisses ) );
    return text;
  }

  static Json actionJson( OrvexActionValue const& action ) {
    return { { "drop", action.dropEnabled },
             { "log", action.logEnabled },
             { "dscp", action.setDscpEnabled ? Json( action.dscp.value() ) : Json() },
             { "tc", action.setTcEnabled ? Json( action.tc.value() ) : Json() },
             { "sflow", action.sflowEnabled } };
  }
  static Json listedJson( Host::ListedAddress const& listed ) {
    return { { "list", listed.list.empty() ? Json() : Json( listed.list ) },
             { "definition", placeJson( listed.definition ) },
             { "prefix", listed.prefix ? Json( Host::textOf( *listed.prefix ) ) : Json() } };
  }
  static Json placeJson( Host::Place const& place ) {
    if ( !place.file ) return {};
    return { { "file", place.file->name() }, { "line", place.line }, { "text", lineOf( place ) } };
  }

  Host::LocatedPolicy const& located_;
  Question const& question_;
  Host::Explanation const& explanation_;
};

}  // namespace

int explain( ExplainOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  auto const profile = readChip( options.chip, diagnostics );
  auto const question = located ? readQuestion( options, located->policy, diagnostics ) : std::nullopt;
  show( diagnostics, options.console );
  if ( !question || !profile ) return kQuestionIsWrong;

  Host::SoftwareChip chip( Brae::ChipId( 0 ), *profile );
  auto const result = Host::compileProved( located->policy, chip ).compile;
  if ( result.outcome != Host::CompileOutcome::loaded ) {
    showError( "the policy is not loaded: " + result.message, options.console );
    return kAnswerIsNo;
  }
  Host::Acl const& acl = *question->acl;
  Verify::Packet const& packet = question->asked.packet;
  try {
    auto const explanation = explain( *located, acl, packet, *result.snapshot, shapeOf( *profile ) );
    PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
    if ( chip.lookUp( key, packet ) != explanation.verdict )
      throw Host::DisagreementError( "the chip does otherwise than the snapshot that it has loaded" );
    Answer const answer( *located, *question, explanation );
    Host::OutputFile output( options.output );
    output.write( options.format == ExplainFormat::json ? answer.json() : answer.text() );
    output.commit();
  } catch ( Host::DisagreementError const& error ) {
    showError( error.what(), options.console );
    return kAnswerIsNo;
  }
  return kDone;
}

}  // namespace Orvex::Cli
