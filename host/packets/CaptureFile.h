#pragma once

/// The frames of a capture, one after another: pcap and pcapng, as libpcap reads them.
///
///     CaptureFile capture( "edge.pcap" );
///     while ( auto const frame = capture.next() ) count( decode( capture.linkType(), *frame ) );
///
/// Of a capture one frame is in memory at a time, so its size does not matter. libpcap reads a pcapng file with several
/// interfaces when they have one link type, and refuses it otherwise.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "packets/PacketDecoder.h"

struct pcap;

namespace Orvex::Host {

/// "edge.pcap: truncated dump file; ..."
class CaptureError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class CaptureFile {
 public:
  static constexpr std::string_view kStandardInput = "-";

  /// Fails with: CaptureError for what is no capture, or one of a link type that has no decoder.
  explicit CaptureFile( std::string const& path );

  /// As messages name it.
  std::string const& name() const { return name_; }
  LinkType linkType() const { return linkType_; }

  /// Nothing at the end. The bytes are there until the next call.
  /// Fails with: CaptureError when the file breaks off.
  std::optional<Frame> next();
  /// Frames so far.
  std::uint64_t frames() const { return frames_; }
  /// How much of the file is read, in percent; nothing for a pipe.
  std::optional<unsigned> percentRead() const;

 private:
  struct Closer {
    void operator()( pcap* capture ) const;
  };

  [[noreturn]] void fail( std::string const& problem ) const;
  void open( std::string const& path );

  std::string name_;
  std::unique_ptr<pcap, Closer> capture_;
  LinkType linkType_ = LinkType::ethernet;
  std::uint64_t frames_ = 0;
  std::uint64_t size_ = 0;  // of a regular file
};

}  // namespace Orvex::Host
