#pragma once

/// A line of ACL text, word by word.
///
///     10 permit tcp any, "guest net" eq 80 ! web       10 | permit | tcp | any | , | "guest net" | eq | 80
///
/// Words are separated by blanks; a comma is a word of its own; double quotes hold a word with blanks, in which a
/// backslash stands before a quote or a backslash. A word that begins with ! or # starts a comment.

#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"

namespace Orvex::Host {

/// Ends the reading of a line.
class AclLineError : public std::exception {
 public:
  explicit AclLineError( Diagnostic diagnostic ) : diagnostic_( std::move( diagnostic ) ) {}

  char const* what() const noexcept override { return diagnostic_.problem.c_str(); }
  Diagnostic const& diagnostic() const noexcept { return diagnostic_; }

 private:
  Diagnostic diagnostic_;
};

class AclLine {
 public:
  /// The file must outlive the line. Fails with: AclLineError, as every function that moves on does, for a quote without
  /// its end.
  AclLine( SourceFile const& file, std::size_t number );

  bool atEnd() const noexcept { return word_.empty(); }
  /// The next word, as it stands in the text; empty at the end.
  std::string_view word() const noexcept { return word_; }
  /// Returns the next word and moves on.
  std::string_view take();
  /// Moves on when the next word is this one.
  bool accept( std::string_view keyword );
  /// Fails with: AclLineError when words are left.
  void expectEnd() const;

  /// Takes a word that names something: quotes are taken off. `what` is for messages: "an ACL's name".
  std::string takeName( std::string_view what );
  /// Takes NAME, NAME ...
  std::vector<std::string_view> takeNames( std::string_view what );

  Place placeOf( std::string_view part ) const { return file_.placeOf( number_, part ); }
  [[noreturn]] void fail( std::string_view part, std::string problem, std::string remedy = "",
                          std::vector<RelatedPlace> related = {} ) const;
  /// The next word is not what is expected, or there is none.
  [[noreturn]] void failHere( std::string_view expected, std::string remedy = "" ) const;

 private:
  void findWord();
  std::size_t quotedLength() const;

  SourceFile const& file_;
  std::size_t number_;
  std::string_view rest_;  // behind word_
  std::string_view word_;
};

/// What a word names.
std::string unquoted( std::string_view word );

}  // namespace Orvex::Host
