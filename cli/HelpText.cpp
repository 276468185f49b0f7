#include "HelpText.h"

#include <fmt/format.h>

#include <cctype>
#include <string_view>
#include <utility>

namespace Orvex::Cli {

namespace {

constexpr std::size_t kColumn = 34;

constexpr std::string_view kExitStatus =
    "\nExit status:\n"
    "  0                               done\n"
    "  1                               the answer is no: it does not fit, it differs, it is refused\n"
    "  2                               the question was wrong (usage, input, output), or too hard to decide\n";

/// A name and what it is; a long name has a line of its own.
std::string row( std::string name, std::string_view description ) {
  name = "  " + name;
  if ( name.size() + 2 > kColumn ) name += "\n" + std::string( kColumn, ' ' );
  return fmt::format( "{:<{}}{}\n", name, kColumn, description );
}

std::string sentence( std::string text ) {
  if ( text.empty() ) return text;
  text.front() = static_cast<char>( std::toupper( static_cast<unsigned char>( text.front() ) ) );
  return text.back() == '.' ? text : text + ".";
}

std::string valueOf( CLI::Option const& option ) {
  if ( option.get_items_expected_max() == 0 ) return "";
  auto const choices = choicesOf( option );
  return choices.empty() ? " " + option.get_type_name() : fmt::format( " {}", fmt::join( choices, "|" ) );
}

std::string optionRow( CLI::Option const& option ) {
  std::string names;
  for ( std::string const& name : option.get_snames() ) names += fmt::format( "-{}, ", name );
  if ( names.empty() ) names = "    ";
  for ( std::string const& name : option.get_lnames() ) names += "--" + name;
  return row( names + valueOf( option ), option.get_description() );
}

/// Groups are subcommands without names.
std::string optionRows( CLI::App const& app ) {
  std::string rows;
  for ( CLI::Option const* const option : app.get_options() )
    if ( !option->get_positional() ) rows += optionRow( *option );
  for ( CLI::App const* const group : app.get_subcommands( nullptr ) )
    if ( group->get_name().empty() ) rows += optionRows( *group );
  return rows;
}

/// "POLICY...", "[NAME]"
std::string usageOf( CLI::Option const& positional ) {
  std::string word = positional.get_name();
  if ( positional.get_items_expected_max() > 1 ) word += "...";
  return positional.get_required() ? " " + word : " [" + word + "]";
}

}  // namespace

/// Its validators' texts stand behind its type's name: "TEXT:{auto,never}".
std::vector<std::string> choicesOf( CLI::Option const& option ) {
  std::string const typeName = option.get_type_name();
  std::size_t const open = typeName.find( '{' );
  std::size_t const close = typeName.find( '}', open );
  if ( open == std::string::npos || close == std::string::npos ) return {};
  return CLI::detail::split( typeName.substr( open + 1, close - open - 1 ), ',' );
}

std::string HelpText::make_help( CLI::App const* app, std::string name, CLI::AppFormatMode /*mode*/ ) const {
  std::string usage = std::move( name );
  std::string positionals;
  std::string commands;
  for ( CLI::App const* const command : app->get_subcommands( nullptr ) )
    if ( !command->get_name().empty() ) commands += row( command->get_name(), command->get_description() );
  usage += commands.empty() ? " [OPTION]..." : " COMMAND [OPTION]...";
  for ( CLI::Option const* const option : app->get_options() ) {
    if ( !option->get_positional() ) continue;
    usage += usageOf( *option );
    positionals += row( option->get_name(), option->get_description() );
  }
  std::string help = fmt::format( "Usage: {}\n{}\n", usage, sentence( app->get_description() ) );
  if ( !positionals.empty() ) help += "\n" + positionals;
  help += "\nOptions:\n" + optionRows( *app );
  if ( !commands.empty() ) help += "\nCommands:\n" + commands;
  help += kExitStatus;
  if ( !app->get_footer().empty() ) help += "\n" + app->get_footer();
  return help;
}

}  // namespace Orvex::Cli
