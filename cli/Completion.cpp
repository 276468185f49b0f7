#include "Completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <vector>

#include "HelpText.h"

namespace Orvex::Cli {

namespace {

struct Option {
  std::vector<std::string> longNames;
  std::vector<std::string> shortNames;
  std::string description;
  bool takesValue = false;
  /// Empty: any value.
  std::vector<std::string> choices;
};

struct Command {
  std::string name;  // empty: what stands before a subcommand
  std::string description;
  std::vector<Option> options;
  /// Of the words that are no options; empty: files.
  std::vector<std::string> choices;
};

/// Groups of options are subcommands without names.
void addOptions( CLI::App const& app, Command& command ) {
  for ( CLI::Option const* const option : app.get_options() ) {
    bool const takesValue = option->get_items_expected_max() != 0;
    auto choices = takesValue ? choicesOf( *option ) : std::vector<std::string>();
    if ( option->get_positional() )
      command.choices = std::move( choices );
    else
      command.options.push_back(
          { option->get_lnames(), option->get_snames(), option->get_description(), takesValue, std::move( choices ) } );
  }
  for ( CLI::App const* const group : app.get_subcommands( nullptr ) )
    if ( group->get_name().empty() ) addOptions( *group, command );
}

/// The first stands for the command itself.
std::vector<Command> commandsOf( CLI::App const& app ) {
  std::vector<Command> commands( 1 );
  addOptions( app, commands.front() );
  for ( CLI::App const* const subcommand : app.get_subcommands( nullptr ) ) {
    if ( subcommand->get_name().empty() ) continue;
    commands.push_back( { subcommand->get_name(), subcommand->get_description(), {}, {} } );
    addOptions( *subcommand, commands.back() );
  }
  return commands;
}

/// With their hyphens.
std::vector<std::string> wordsOf( Option const& option ) {
  std::vector<std::string> words;
  for ( std::string const& name : option.shortNames ) words.push_back( "-" + name );
  for ( std::string const& name : option.longNames ) words.push_back( "--" + name );
  return words;
}

std::string replaced( std::string text, std::string_view from, std::string_view to ) {
  for ( std::size_t at = 0; ( at = text.find( from, at ) ) != std::string::npos; at += to.size() )
    text.replace( at, from.size(), to );
  return text;
}

/// One word for any of the shells.
std::string shellWord( std::string const& text ) { return "'" + replaced( text, "'", R"('\'')" ) + "'"; }

std::string bashScript( std::vector<Command> const& commands ) {
  std::vector<std::string> names;
  std::string words;
  std::string values;
  for ( Command const& command : commands ) {
    std::vector<std::string> all;
    for ( Option const& option : command.options )
      for ( std::string const& word : wordsOf( option ) ) {
        all.push_back( word );
        if ( !option.choices.empty() )
          values += fmt::format( "    '{} {}') words='{}' ;;\n", command.name, word, fmt::join( option.choices, " " ) );
      }
    if ( !command.name.empty() ) names.push_back( command.name );
    words += fmt::format( "    '{}') words='{}' options='{}' ;;\n", command.name, fmt::join( command.choices, " " ),
                          fmt::join( all, " " ) );
  }
  return fmt::format( R"(# Completion for bash: source <( orvex completion bash )
_orvex() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} command='' words='' options='' commands='{}' at
  for (( at = 1; at < COMP_CWORD; ++at )); do
    [[ " $commands " == *" ${{COMP_WORDS[at]}} "* ]] && command=${{COMP_WORDS[at]}} && break
  done
  case "$command" in
{}  esac
  [[ -n $command ]] || words=$commands
  [[ $word != -* ]] || words=$options
  case "$command ${{COMP_WORDS[COMP_CWORD - 1]}}" in
{}  esac
  COMPREPLY=( $( compgen -W "$words" -- "$word" ) )
}}
complete -o bashdefault -o default -F _orvex orvex
)",
                      fmt::join( names, " " ), words, values );
}

/// "'(-o --output)'{-o,--output}'[file to write]:value:_files'"
std::string zshOption( Option const& option ) {
  auto const words = wordsOf( option );
  std::string text = option.description;
  for ( char const* const special : { "\\", ":", "]" } )
    text = replaced( text, special, std::string( "\\" ) + special );
  text = "[" + text + "]";
  if ( option.takesValue )
    text += option.choices.empty() ? ":value:_files" : fmt::format( ":value:({})", fmt::join( option.choices, " " ) );
  if ( words.size() == 1 ) return words.front() + shellWord( text );
  return fmt::format( "'({})'{{{}}}{}", fmt::join( words, " " ), fmt::join( words, "," ), shellWord( text ) );
}

std::string zshScript( std::vector<Command> const& commands ) {
  std::string descriptions;
  std::string cases;
  for ( Command const& command : commands ) {
    if ( command.name.empty() ) continue;
    descriptions += "    " + shellWord( command.name + ":" + replaced( command.description, ":", "\\:" ) ) + "\n";
    cases += "    " + command.name + ") _arguments";
    for ( Option const& option : command.options ) cases += " \\\n      " + zshOption( option );
    if ( command.choices.empty() )
      cases += " \\\n      '*:file:_files' ;;\n";
    else
      cases += fmt::format( " \\\n      ':value:({})' ;;\n", fmt::join( command.choices, " " ) );
  }
  return fmt::format( R"(#compdef orvex
# Completion for zsh: source <( orvex completion zsh ), or put it as _orvex into a directory of $fpath
_orvex() {{
  local state line
  local -a commands=(
{}  )
  _arguments -C '1:command:->command' '*::argument:->argument'
  [[ $state != command ]] || _describe command commands
  [[ $state == argument ]] || return 0
  case $words[1] in
{}  esac
}}
if [[ $funcstack[1] == _orvex ]]; then _orvex "$@"; else compdef _orvex orvex; fi
)",
                      descriptions, cases );
}

std::string fishScript( std::vector<Command> const& commands ) {
  std::string text = "# Completion for fish: orvex completion fish | source\n";
  for ( Command const& command : commands ) {
    std::string when = "__fish_use_subcommand";
    if ( !command.name.empty() ) {
      text += fmt::format( "complete -c orvex -n {} -f -a {} -d {}\n", when, command.name,
                           shellWord( command.description ) );
      when = shellWord( "__fish_seen_subcommand_from " + command.name );
      if ( !command.choices.empty() )
        text += fmt::format( "complete -c orvex -n {} -f -a '{}'\n", when, fmt::join( command.choices, " " ) );
    }
    for ( Option const& option : command.options ) {
      text += "complete -c orvex -n " + when;
      for ( std::string const& name : option.shortNames ) text += " -s " + name;
      for ( std::string const& name : option.longNames ) text += " -l " + name;
      if ( !option.choices.empty() )
        text += fmt::format( " -x -a '{}'", fmt::join( option.choices, " " ) );
      else if ( option.takesValue )
        text += " -r";
      text += " -d " + shellWord( option.description ) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string completionScript( CLI::App const& app, Shell shell ) {
  auto const commands = commandsOf( app );
  switch ( shell ) {
    case Shell::bash:
      return bashScript( commands );
    case Shell::zsh:
      return zshScript( commands );
    case Shell::fish:
      break;
  }
  return fishScript( commands );
}

}  // namespace Orvex::Cli
