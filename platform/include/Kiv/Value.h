#pragma once

/// The text form of values, both ways. A value type lists its fields once:
///
///     class Range {
///      public:
///       static constexpr std::string_view kTypeName = "Orvex::Range";
///       static constexpr auto fields() {
///         return std::tuple( Kiv::Field( "rangeStart", &Range::rangeStart ),
///                            Kiv::Field( "rangeEnd", &Range::rangeEnd ) );
///       }
///       Range( std::uint32_t rangeStart, std::uint32_t rangeEnd );      // takes the fields in the same order
///
/// and prints, and is read back, as  Value('Orvex::Range', ** {'rangeStart': 10, 'rangeEnd': 20}).
/// Fields may be integers, bool ("true", "false"), double, named enumerations (their names), strings (quoted), value
/// types, and types that stream themselves and have a static `read( TextReader& )`. Reading goes through the
/// constructor, so a field outside its range raises the same exception as its setter.

#include <charconv>
#include <concepts>
#include <functional>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Kiv/Enumeration.h"
#include "Kiv/Exception.h"
#include "Kiv/Ptr.h"
#include "Kiv/String.h"

namespace Kiv {

/// A field of a value type: its name and the member that reads it.
template <class Getter>
struct Field {
  std::string_view name;
  Getter getter;

  constexpr Field( std::string_view fieldName, Getter fieldGetter ) : name( fieldName ), getter( fieldGetter ) {}
};

template <class T>
concept ValueType = requires {
  { T::kTypeName } -> std::convertible_to<std::string_view>;
  T::fields();
};

/// Reads text from left to right and says where it stopped making sense.
class TextReader {
 public:
  explicit TextReader( std::string_view text ) : text_( text ) {}

  bool atEnd() const { return position_ == text_.size(); }
  /// The text not yet read.
  std::string_view rest() const { return text_.substr( position_ ); }
  void advance( std::size_t characters ) { position_ += characters; }
  /// Reads `literal` when the rest begins with it.
  bool accept( std::string_view literal );
  void expect( std::string_view literal );
  /// Reads up to, not including, the first of `stops` or the end.
  std::string_view until( std::string_view stops );
  void expectEnd() const;

  /// Throws ParseException: "cannot read 'TEXT': expected EXPECTED at column N".
  [[noreturn]] void fail( std::string_view expected ) const;

 private:
  std::string_view text_;
  std::size_t position_ = 0;
};

/// A string stream whose numbers never depend on the process's locale.
class TextStream : public std::ostringstream {
 public:
  TextStream() { imbue( std::locale::classic() ); }
};

template <class T>
T readValue( TextReader& reader );

namespace Detail {

/// In single quotes; a quote or backslash inside gets a backslash.
void printQuoted( std::ostream& out, std::string_view text );
String readQuoted( TextReader& reader );

template <class T>
void printField( std::ostream& out, T const& value ) {
  if constexpr ( std::same_as<T, bool> )
    out << ( value ? "true" : "false" );
  else if constexpr ( std::integral<T> || std::floating_point<T> ) {
    char text[32];
    char const* const end = std::to_chars( text, text + sizeof text, value ).ptr;
    out.write( text, end - text );
  } else if constexpr ( std::same_as<T, String> )
    printQuoted( out, value.view() );
  else
    out << value;
}

template <class T>
T readNumber( TextReader& reader ) {
  using Limits = std::numeric_limits<T>;
  std::string_view const rest = reader.rest();
  T value{};
  auto const [end, error] = std::from_chars( rest.data(), rest.data() + rest.size(), value );
  if ( error != std::errc() ) {
    if constexpr ( std::integral<T> )
      reader.fail( "a number from " + std::to_string( Limits::min() ) + " to " + std::to_string( Limits::max() ) );
    else
      reader.fail( "a number" );
  }
  reader.advance( static_cast<std::size_t>( end - rest.data() ) );
  return value;
}

template <class E>
E readEnum( TextReader& reader ) {
  TextReader const start = reader;
  String const name( reader.until( ",} " ) );
  try {
    return enumInstance<E>( name );
  } catch ( ParseException const& ) {
    std::string known;
    for ( std::string_view const each : enumNames( E{} ) ) ( known += known.empty() ? "" : ", " ) += each;
    start.fail( "one of " + known );
  }
}

template <class T, class Getter>
using FieldValue = std::remove_cvref_t<std::invoke_result_t<Getter, T const&>>;

template <class T, class Getter>
FieldValue<T, Getter> readField( TextReader& reader, Field<Getter> const& field, std::string_view& separator ) {
  reader.expect( std::exchange( separator, ", '" ) );
  reader.expect( field.name );
  reader.expect( "': " );
  return readValue<FieldValue<T, Getter>>( reader );
}

template <class T>
T readFields( TextReader& reader ) {
  reader.expect( "Value('" );
  reader.expect( T::kTypeName );
  reader.expect( "', ** {" );
  std::string_view separator = "'";
  return std::apply(
      [&]( auto const&... field ) {
        // A braced list is evaluated from left to right.
        std::tuple<FieldValue<T, decltype( field.getter )>...> values{ readField<T>( reader, field, separator )... };
        reader.expect( "})" );
        return std::make_from_tuple<T>( std::move( values ) );
      },
      T::fields() );
}

}  // namespace Detail

/// Reads one value from where the reader stands.
/// Fails with: ParseException; or what the value's constructor raises.
template <class T>
T readValue( TextReader& reader ) {
  if constexpr ( std::same_as<T, bool> ) {
    if ( reader.accept( "true" ) ) return true;
    if ( reader.accept( "false" ) ) return false;
    reader.fail( "true or false" );
  } else if constexpr ( std::integral<T> || std::floating_point<T> ) {
    return Detail::readNumber<T>( reader );
  } else if constexpr ( NamedEnum<T> ) {
    return Detail::readEnum<T>( reader );
  } else if constexpr ( std::same_as<T, String> ) {
    return Detail::readQuoted( reader );
  } else if constexpr ( ValueType<T> ) {
    return Detail::readFields<T>( reader );
  } else {
    return T::read( reader );
  }
}

namespace TextForm {

template <ValueType T>
std::ostream& operator<<( std::ostream& out, T const& value ) {
  out << "Value('" << T::kTypeName << "', ** {";
  char const* separator = "'";
  auto const printOne = [&]( auto const& field ) {
    out << std::exchange( separator, ", '" ) << field.name << "': ";
    Detail::printField( out, std::invoke( field.getter, value ) );
  };
  std::apply( [&]( auto const&... field ) { ( printOne( field ), ... ); }, T::fields() );
  return out << "})";
}

}  // namespace TextForm

using TextForm::operator<<;

/// The text of a value as it stands in traces and messages.
template <class T>
String valueToStrep( T const& value ) {
  TextStream out;
  Detail::printField( out, value );
  return String( out.str() );
}

/// An object is shown by its address.
template <class T>
String valueToStrep( Ptr<T> const& object ) {
  return format( "%p", static_cast<void const*>( object.get() ) );
}

/// The value that a text stands for; the whole text must be read.
/// Fails with: ParseException; or what the value's constructor raises.
template <class T>
T strepToValue( std::string_view text ) {
  TextReader reader( text );
  T value = readValue<T>( reader );
  reader.expectEnd();
  return value;
}

/// For factories: an object that is there must have been made with the parameters now given.
/// Fails with: NameInUseException when they differ; the text names the attribute and shows both values.
template <class T>
void checkConstructorParameter( std::string_view attribute, T const& newValue, T const& currentValue ) {
  if ( newValue == currentValue ) return;
  throwNameInUseException( String( "Reinstantiating the pointer interface where constructor parameter attribute " ) +
                           String( attribute ) + " has a different value of " + valueToStrep( newValue ) +
                           " than the current value of " + valueToStrep( currentValue ) + " not allowed" );
}

}  // namespace Kiv
