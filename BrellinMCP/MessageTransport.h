#pragma once

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinMCP/LineReader.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// One message from the host, reduced to what is ever looked at.
struct Request {
    std::string method;
    std::optional<boost::json::value> id;  ///< any JSON value, null included; absent in a notification
    boost::json::object params;            ///< empty when missing or no object
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
    LineReader lines_;
    const Descriptor& output_;
    const Descriptor& errors_;
};

}  // namespace brellin
