#pragma once

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinMCP/LineReader.h"

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// One message from the host, reduced to what is ever looked at. It refers to memory of the transport,
/// until the next request is asked for.
struct Request {
    std::string_view method;
    const boost::json::value* id = nullptr;  ///< any JSON value, null included; nullptr in a notification
    const boost::json::object* params = nullptr;  ///< an empty one when missing or no object
};

/// Turns bytes into messages and replies into bytes: one JSON object per line. It knows no method by name.
class MessageTransport {
  public:
    /// The descriptors must outlive this object.
    MessageTransport(const Descriptor& input, const Descriptor& output, const Descriptor& errors)
        : lines_(input), output_(output), errors_(errors) {}

    /// The next request; nullopt at the end of input. Blank lines are passed over in silence. A line that
    /// is not a JSON object with a string "method" is passed over with a diagnostic, whatever else it
    /// holds.
    std::optional<Request> next();

    /// Writes one reply line: the compact JSON text, then the line feed by a second write. A reply that
    /// cannot be serialised is dropped; so is one that nobody reads any more.
    ///
    /// @param outcome the member that holds the content, "result" or "error"
    void writeReply(const boost::json::value& id, std::string_view outcome,
                    const boost::json::object& content);

    /// Writes one diagnostic line to the error stream by a single write: "[havrick-mcp] ", the text, a
    /// line feed.
    void writeDiagnostic(std::string_view text);

  private:
    /// What a line holds: nothing, a request, or neither (then it is not JSON, or has no method).
    struct Message {
        bool isBlank = false;
        std::optional<Request> request;
    };

    Message parse(std::string_view bytes);
    std::optional<Request> decode(std::string_view text);
    void releaseMessage();

    LineReader lines_;
    const Descriptor& output_;
    const Descriptor& errors_;

    // A usual message fits into this room, so that answering it takes next to nothing from the heap.
    std::array<unsigned char, 2048> room_{};
    boost::json::monotonic_resource memory_{room_.data(), room_.size()};
    std::optional<boost::json::object> message_;
    const boost::json::object noParams_;
};

}  // namespace brellin
