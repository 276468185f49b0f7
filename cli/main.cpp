/// The orvex command: its arguments, and which subcommand they are for.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Completion.h"
#include "HelpText.h"
#include "Inputs.h"
#include "Kiv/Trace.h"
#include "Options.h"
#include "StandardStreams.h"
#include "output/OutputFile.h"

namespace Orvex::Cli {

namespace {

constexpr char const* kDescription = "compile access-control policy into ternary tables for a switching chip";

constexpr char const* kExamples =
    "Examples:\n"
    "  orvex check edge.acl                       what is wrong with a policy, and what its author may not have meant\n"
    "  orvex compile edge.acl                     compile, load into the software chip, and say what it takes\n"
    "  orvex compile edge.acl --chip all          does it fit, and where\n"
    "  orvex compile edge.acl --format json -o edge.json\n"
    "                                             write the table\n"
    "  orvex compile edge.acl --report edge.html  pictures of what it came to, for a browser\n"
    "  orvex explain edge.acl --src 10.1.2.3 --dst 192.0.2.1 --proto tcp --dport 443\n"
    "                                             which rule decides, by which entry, and what nearly did\n"
    "  orvex verify edge.acl edge.json            is that table the policy, for all packets\n"
    "  orvex verify --equal old.acl new.acl       do two policies mean the same\n"
    "  orvex update old.acl new.acl --format json\n"
    "                                             what is to be written, in an order that disturbs nothing\n"
    "  orvex packets edge.acl --count 1000 | orvex classify edge.acl --packets - --compare\n"
    "                                             do table and policy agree on packets at the rules' boundaries\n"
    "  orvex classify edge.acl --pcap edge.pcap   which rules decide the packets of a capture\n"
    "  orvex convert edge.json -o edge.acl        from any format to ACL text, or --to another\n";

constexpr char const* kClassifyExamples =
    "Examples:\n"
    "  orvex classify edge.acl --packets packets.json\n"
    "                                             a verdict a line\n"
    "  orvex classify edge.acl --pcap edge.pcap --acl edge-in\n"
    "                                             packets and bytes by rule\n"
    "  tcpdump -i eth0 -w - -c 10000 | orvex classify edge.acl --pcap -\n"
    "                                             straight from the wire\n";

/// What stands for an option's value in the help.
constexpr char const* kChip = "CHIP";
constexpr char const* kFile = "FILE";
constexpr char const* kNumber = "N";

/// Switches traces on: "6", or "6:OrvexLoaderSm" for one module.
std::string traceIs( std::string const& text ) {
  std::size_t const colon = text.find( ':' );
  std::string const module = colon == std::string::npos ? "" : text.substr( colon + 1 );
  bool const isLevel = colon != 0 && text.substr( 0, colon ).find_first_not_of( "0123456789" ) == std::string::npos &&
                       !text.empty() &&
                       std::stoul( text.substr( 0, std::min<std::size_t>( colon, 3 ) ) ) <= Kiv::TraceHandle::kMaxLevel;
  if ( !isLevel || ( colon != std::string::npos && module.empty() ) )
    return "write a level from 0 to " + std::to_string( Kiv::TraceHandle::kMaxLevel ) +
           ", or LEVEL:MODULE as 6:OrvexLoaderSm";
  if ( Kiv::Trace::levelIs( static_cast<unsigned>( std::stoul( text ) ), module ) == 0 )
    return "there is no module " + module;
  return "";
}

std::map<std::string, PolicyFormat> const& policyFormats() {
  static std::map<std::string, PolicyFormat> const formats = { { "acl", PolicyFormat::acl },
                                                               { "classbench", PolicyFormat::classbench },
                                                               { "rfc8519", PolicyFormat::rfc8519 },
                                                               { "openconfig", PolicyFormat::openConfig } };
  return formats;
}

/// Takes a name for its value.
template <class Value>
CLI::Validator oneOf( std::map<std::string, Value> const& names ) {
  std::vector<std::string> all;
  all.reserve( names.size() );
  for ( auto const& [name, value] : names ) all.push_back( name );
  return CLI::Validator(
      [names, all]( std::string& text ) {
        auto const named = names.find( text );
        if ( named == names.end() ) return fmt::format( "{} is none of {}", text, fmt::join( all, ", " ) );
        text = std::to_string( static_cast<unsigned>( named->second ) );
        return std::string();
      },
      fmt::format( "{{{}}}", fmt::join( all, "," ) ) );
}

void addConsole( CLI::App& command, ConsoleOptions& options ) {
  command.add_flag( "-q,--quiet", options.quiet, "errors and results only" );
  command.add_option( "--colour", options.colour, "colour of messages" )
      ->check( CLI::IsMember( { "auto", "always", "never" } ) );
  command
      .add_option_function<std::string>(
          "--trace", []( std::string const& ) {}, "what the stages do, on standard error" )
      ->type_name( "LEVEL[:MODULE]" )
      ->check( CLI::Validator( []( std::string& text ) { return traceIs( text ); }, "" ) );
}

void addPolicy( CLI::App& command, PolicyOptions& options,
                std::string const& files = "files that make the policy together; - is standard input" ) {
  command.add_option( "POLICY", options.files, files )->required();
  command.add_option( "--from", options.format, "the format; else the content tells" )
      ->transform( oneOf( policyFormats() ) );
  command.add_flag_callback(
      "--skip-unsupported", [&options] { options.unsupported = Host::Unsupported::skipsAcl; },
      "leave out, whole, the ACLs of rfc8519 and openconfig that a table cannot express" );
  command.add_option( "--classbench-action", options.classbench.action, "what the rules of a ClassBench set do" )
      ->transform( oneOf<Host::ClassbenchAction>( { { "permit", Host::ClassbenchAction::permit },
                                                    { "deny", Host::ClassbenchAction::deny },
                                                    { "alternate", Host::ClassbenchAction::alternate } } ) );
  command.add_option( "--classbench-flags", options.classbench.flags, "flags of a ClassBench set" )
      ->transform( oneOf<Host::ClassbenchFlags>(
          { { "ignore", Host::ClassbenchFlags::ignore }, { "honour", Host::ClassbenchFlags::honour } } ) );
}

void addOutput( CLI::App& command, std::string& output ) {
  command.add_option( "-o,--output", output, "file to write; it is the old one or the whole new one" )
      ->type_name( kFile );
}

/// The command line as one object: CLI11 writes into the options, and the chosen subcommand runs.
class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand( 1 );
    app_.formatter( std::make_shared<HelpText>() );
    app_.set_help_flag( "-h,--help", "show this help" );
    app_.set_version_flag( "--version", "orvex " ORVEX_VERSION, "show the version" );

    CLI::App& check =
        add( "check", "report errors and warnings, and compile nothing", [this] { return Cli::check( check_ ); } );
    addConsole( check, check_.console );
    addPolicy( check, check_.policy );

    CLI::App& compile = add( "compile", "compile a policy and load it into the software chip",
                             [this] { return Cli::compile( compile_ ); } );
    addConsole( compile, compile_.console );
    addPolicy( compile, compile_.policy );
    compile.add_option( "--chip", compile_.chip, "a chip of \"orvex chips\", a profile's file, or all" )
        ->type_name( kChip );
    compile.add_option( "--format", compile_.format, "the snapshot, a summary, or a table of entries by rule" )
        ->transform( oneOf<CompileFormat>( { { "summary", CompileFormat::summary },
                                             { "table", CompileFormat::table },
                                             { "json", CompileFormat::json } } ) );
    auto* const placement = compile
                                .add_option_function<LabelPlacement>(
                                    "--placement", [this]( LabelPlacement value ) { compile_.placement = value; },
                                    "how labels are placed, whatever the chip says" )
                                ->transform( oneOf<LabelPlacement>( { { "costOrder", LabelPlacement::costOrder },
                                                                      { "nested", LabelPlacement::nested } } ) );
    auto* const comparing = compile
                                .add_flag( "--compare-placements", compile_.comparePlacements,
                                           "what each placement comes to, beside plain prefix expansion" )
                                ->excludes( placement );
    compile.add_option( "--report", compile_.report, "HTML page to write: pictures of what it came to" )
        ->type_name( kFile )
        ->excludes( comparing );
    compile.add_flag_callback(
        "--no-verify", [this] { compile_.verify = false; },
        "do not prove the table equal to the policy; nothing is loaded then" );
    addOutput( compile, compile_.output );

    CLI::App& classify =
        add( "classify", "say what happens to packets", [this] { return Cli::classify( classify_ ); } );
    addConsole( classify, classify_.console );
    addPolicy( classify, classify_.policy );
    CLI::App& packetsFrom = *classify.add_option_group( "Packets" )->require_option( 1 );
    packetsFrom.set_help_flag();
    packetsFrom.add_option( "--packets", classify_.packets, "packets, a JSON object a line; - is standard input" )
        ->type_name( kFile );
    auto* const capture = packetsFrom
                              .add_option( "--pcap", classify_.capture,
                                           "or a capture, pcap or pcapng: hits by rule; - is standard input" )
                              ->type_name( kFile );
    classify.add_option( "--acl", classify_.acl, "with --pcap: the ACL that is asked; else all are" )
        ->type_name( "NAME" )
        ->needs( capture );
    classify.footer( kClassifyExamples );
    classify.add_option( "--chip", classify_.chip, "a chip of \"orvex chips\", or a profile's file" )
        ->type_name( kChip );
    auto* const interpret = classify.add_flag_callback(
        "--interpret", [this] { classify_.mode = ClassifyMode::interpret; },
        "verdicts from the policy and not from the table" );
    classify
        .add_flag_callback(
            "--compare", [this] { classify_.mode = ClassifyMode::compare; },
            "both, and exit 1 at the first difference" )
        ->excludes( interpret );
    addOutput( classify, classify_.output );

    addExplain();

    CLI::App& verify =
        add( "verify", "prove that a snapshot is a policy (POLICY ... SNAPSHOT), or that two policies are one",
             [this] { return Cli::verify( verify_ ); } );
    addConsole( verify, verify_.console );
    addPolicy( verify, verify_.policy, "the policy's files, and last the snapshot; with --equal, two policies" );
    verify.add_flag( "--equal", verify_.equal, "compare two policies" );

    CLI::App& update = add( "update", "load one policy and then another (OLD NEW), and say what changes on the chip",
                            [this] { return Cli::update( update_ ); } );
    addConsole( update, update_.console );
    addPolicy( update, update_.policy, "the old policy and the new one, a file each" );
    update.add_option( "--chip", update_.chip, "a chip of \"orvex chips\", or a profile's file" )->type_name( kChip );
    update.add_option( "--format", update_.format, "the writes in order, or a summary" )
        ->transform( oneOf<UpdateFormat>( { { "summary", UpdateFormat::summary }, { "json", UpdateFormat::json } } ) );
    addOutput( update, update_.output );

    CLI::App& packets = add( "packets", "make packets at the boundaries of a policy's rules",
                             [this] { return Cli::packets( packets_ ); } );
    addConsole( packets, packets_.console );
    addPolicy( packets, packets_.policy );
    packets.add_option( "--count", packets_.count, "how many; 1000 by default" )->type_name( kNumber );
    packets.add_option( "--seed", packets_.seed, "equal seeds make equal packets; 1 by default" )->type_name( kNumber );
    addOutput( packets, packets_.output );

    CLI::App& convert =
        add( "convert", "write a policy of any format in another", [this] { return Cli::convert( convert_ ); } );
    addConsole( convert, convert_.console );
    addPolicy( convert, convert_.policy );
    convert.add_option( "--to", convert_.to, "the format to write; acl by default" )
        ->transform( oneOf( policyFormats() ) );
    addOutput( convert, convert_.output );

    CLI::App& chips = add( "chips", "list the chips, or print one's profile", [this] { return Cli::chips( chips_ ); } );
    addConsole( chips, chips_.console );
    chips.add_option( "NAME", chips_.name, "a chip, or a profile's file" );

    CLI::App& completion = add( "completion", "print a script that completes the command's words in a shell", [this] {
      Host::OutputFile output{ std::string( Host::OutputFile::kStandardOutput ) };
      output.write( completionScript( app_, shell_ ) );
      output.commit();
      return kDone;
    } );
    completion.add_option( "SHELL", shell_, "bash, zsh or fish" )
        ->required()
        ->transform( oneOf<Shell>( { { "bash", Shell::bash }, { "zsh", Shell::zsh }, { "fish", Shell::fish } } ) );
    app_.footer( kExamples );  // last: a subcommand starts out with the footer that the command has by then
  }

  int run( int argc, char** argv ) {
    try {
      app_.parse( argc, argv );
    } catch ( CLI::ParseError const& error ) {
      return app_.exit( error ) == 0 ? kDone : kQuestionIsWrong;
    }
    return chosen_();
  }

 private:
  void addExplain() {
    CLI::App& explain =
        add( "explain", "show a packet's path: labels, the entry that decides, its rule, and near misses",
             [this] { return Cli::explain( explain_ ); } );
    addConsole( explain, explain_.console );
    addPolicy( explain, explain_.policy );
    explain.add_option( "--chip", explain_.chip, "a chip of \"orvex chips\", or a profile's file" )->type_name( kChip );
    explain.add_option( "--packet", explain_.packet, "the packet, as in a file of packets; or else its fields:" )
        ->type_name( "JSON" );
    explain.add_option( "--acl", explain_.acl, "the ACL; left out, the only one of the packet's family" )
        ->type_name( "NAME" );
    struct Option {
      char const* name;
      char const* field;
      char const* value;
      char const* description;
    };
    static constexpr Option kOptions[] = { { "--src", "src", "ADDRESS", "source address" },
                                           { "--dst", "dst", "ADDRESS", "destination address" },
                                           { "--proto", "proto", "PROTOCOL", "protocol, by number or name" },
                                           { "--sport", "sport", "PORT", "source port, by number or service" },
                                           { "--dport", "dport", "PORT", "destination port, by number or service" },
                                           { "--icmp-type", "icmpType", "TYPE", "ICMP type, by number or name" },
                                           { "--length", "length", "N", "length" },
                                           { "--fragment", "fragment", "N", "fragment offset" },
                                           { "--dscp", "dscp", "DSCP", "DSCP, by number or name" },
                                           { "--ttl", "ttl", "N", "TTL" },
                                           { "--tcp-flags", "tcpFlags", "N", "the byte of TCP flags" } };
    for ( Option const& option : kOptions )
      explain
          .add_option_function<std::string>(
              option.name, [this, field = option.field]( std::string const& text ) { explain_.fields[field] = text; },
              option.description )
          ->type_name( option.value );
    explain.add_option( "--format", explain_.format, "for programs, or for reading" )
        ->transform( oneOf<ExplainFormat>( { { "text", ExplainFormat::text }, { "json", ExplainFormat::json } } ) );
    addOutput( explain, explain_.output );
  }

  CLI::App& add( char const* name, char const* description, std::function<int()> command ) {
    CLI::App& subcommand = *app_.add_subcommand( name, description );
    subcommand.callback( [this, command = std::move( command )] { chosen_ = command; } );
    return subcommand;
  }

  CLI::App app_{ kDescription, "orvex" };
  std::function<int()> chosen_;
  CheckOptions check_;
  CompileOptions compile_;
  ClassifyOptions classify_;
  ExplainOptions explain_;
  VerifyOptions verify_;
  UpdateOptions update_;
  PacketsOptions packets_;
  ConvertOptions convert_;
  ChipsOptions chips_;
  Shell shell_ = Shell::bash;
};

}  // namespace

}  // namespace Orvex::Cli

int main( int argc, char** argv ) {
  using namespace Orvex;
  try {
    Cli::occupyClosedStreams();
    int const status = Cli::CommandLine().run( argc, argv );
    Cli::endStandardOutput();
    return status;
  } catch ( Host::OutputError const& error ) {
    Cli::showError( error.what(), {} );
  } catch ( std::bad_alloc const& ) {
    Cli::showError( "there is not enough memory", {} );
  } catch ( std::exception const& error ) {
    Cli::showError( error.what(), {} );
  }
  return Cli::kQuestionIsWrong;
}
