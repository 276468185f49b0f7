#pragma once

/// A text that a user gave: a file, standard input, or a string; and where in it something stands.
///
/// The whole text is held, so that readers can keep views of it and messages can show its lines. Lines end with LF or
/// CRLF. A byte order mark at the beginning is not part of the text.
///
/// Text is UTF-8. A line with NUL bytes or with bytes that are not UTF-8 is reported when the file is read; a reader then
/// passes over it (lineIsText) and goes on, so that one run shows all that is wrong.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex::Host {

class Diagnostics;
class SourceFile;

/// Lines and columns count from 1; columns and lengths count characters (code points), not bytes. Line 0 is the file as a
/// whole, and a null file is no file.
struct Place {
  std::shared_ptr<SourceFile const> file;
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::uint32_t length = 0;
};

class SourceFile : public std::enable_shared_from_this<SourceFile> {
 public:
  static constexpr std::string_view kStandardInput = "<stdin>";
  static constexpr std::size_t kMaxBytes = std::size_t{ 1 } << 30;

  /// Reads a file; "-" is standard input. Null, with an error that says why, when there is nothing to read; the error
  /// stands where the file is named, if that is in a file too. Such a file has to be a regular one: devices and pipes can
  /// have no end.
  static std::shared_ptr<SourceFile const> read( std::string const& path, Diagnostics& diagnostics,
                                                 Place const& namedAt = {} );
  static std::shared_ptr<SourceFile const> fromText( std::string name, std::string text, Diagnostics& diagnostics );

  std::string const& name() const noexcept { return name_; }
  std::string_view text() const noexcept { return text_; }

  std::size_t lineCount() const noexcept { return lineStarts_.size(); }
  /// Without its end. Requires: 1 <= number <= lineCount().
  std::string_view line( std::size_t number ) const;
  /// Whether the line can be read as text. Requires: 1 <= number <= lineCount().
  bool lineIsText( std::size_t number ) const;

  /// Where a part of the text stands; an empty part is a point. Cost: O(log lines + length of its line).
  /// Requires: `part` is a view of text().
  Place placeOf( std::string_view part ) const;
  /// The same for a part of the line of that number. Cost: O(length of the line).
  Place placeOf( std::size_t lineNumber, std::string_view part ) const;
  Place whole() const { return { shared_from_this(), 0, 0, 0 }; }

 private:
  SourceFile( std::string name, std::string text );

  void findLines();
  void checkText( Diagnostics& diagnostics );

  std::string name_;
  std::string text_;
  std::vector<std::size_t> lineStarts_;
  std::vector<std::size_t> linesNotText_;  // ascending
};

}  // namespace Orvex::Host
