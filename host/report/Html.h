#pragma once

/// HTML, written so that no text of a user's can become markup: print() escapes every argument that is text.
///
///     html.print( "<td>{}", "<script>" )             <td>&lt;script&gt;
///     html.print( "<b>{}</b>", Markup{ "<i></i>" } ) <b><i></i></b>
///
/// What is escaped also has no control characters and no bytes that are not UTF-8; each comes out as U+FFFD.

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

namespace Orvex::Host {

/// A text that is HTML already.
struct Markup {
  std::string text;
};

/// Between tags, and in an attribute's double quotes.
std::string escaped( std::string_view text );

/// A part of a whole as a length: "12.5%". Requires: the whole is not 0.
std::string percent( double part, double whole );

class HtmlWriter {
 public:
  using Sink = std::function<void( std::string_view )>;

  explicit HtmlWriter( Sink const& sink ) : sink_( sink ) {}

  template <class Argument>
  static auto shown( Argument const& argument ) {
    static_assert( !std::is_same_v<Argument, char>, "a character is not escaped" );
    if constexpr ( std::is_same_v<Argument, Markup> )
      return std::string_view( argument.text );
    else if constexpr ( std::is_convertible_v<Argument const&, std::string_view> )
      return escaped( argument );
    else
      return argument;
  }
  template <class Argument>
  using Shown = decltype( shown( std::declval<Argument const&>() ) );

  template <class... Arguments>
  void print( fmt::format_string<Shown<Arguments>...> format, Arguments const&... arguments ) {
    fmt::format_to( std::back_inserter( buffer_ ), format, shown( arguments )... );
    if ( buffer_.size() >= kPieceBytes ) flush();
  }

  /// Hands on what is still held.
  void flush() {
    sink_( { buffer_.data(), buffer_.size() } );
    buffer_.clear();
  }

 private:
  static constexpr std::size_t kPieceBytes = 1U << 16U;

  Sink const& sink_;
  fmt::memory_buffer buffer_;
};

}  // namespace Orvex::Host
