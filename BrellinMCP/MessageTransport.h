#pragma once

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/text/JsonReader.h"
#include "BrellinMCP/LineReader.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// One message from the host, reduced to what is ever looked at. Each field is absent when the message has
/// no such member, or one of another type; "params" and "arguments" that are no object hold nothing.
struct Request {
    std::optional<std::string> method;           ///< "method"; always there
    std::optional<JsonReader::Source> id;        ///< "id": any JSON value, null included
    std::optional<std::string> protocolVersion;  ///< "protocolVersion" of "params"
    std::optional<std::string> tool;             ///< "name" of "params"

    /// The arguments that tools read: members of "arguments" of "params", by name.
    std::map<std::string, std::optional<std::string>> arguments;
};

/// Turns bytes into messages and replies into bytes: one JSON object per line. It knows no method by name.
class MessageTransport {
  public:
    /// The descriptors must outlive this object.
    MessageTransport(const Descriptor& input, const Descriptor& output, const Descriptor& errors);
    MessageTransport(const MessageTransport&) = delete;
    MessageTransport& operator=(const MessageTransport&) = delete;
    ~MessageTransport() = default;

    /// The next request, valid until the next call; nullptr at the end of input. Blank lines are passed
    /// over in silence. A line that is not a JSON object with a string "method" is passed over with a
    /// diagnostic, whatever else it holds.
    const Request* next();

    /// Writes one reply line: the compact JSON text, then the line feed by a second write. A reply for
    /// which there is no memory is dropped; so is one that nobody reads any more.
    ///
    /// @param outcome the member that holds the content, "result" or "error"
    /// @param content a JSON object as text, on one line
    void writeReply(const JsonReader::Source& id, std::string_view outcome, std::string content);

    /// Writes one diagnostic line to the error stream by a single write: "[havrick-mcp] ", the text, a
    /// line feed.
    void writeDiagnostic(std::string_view text);

  private:
    enum class LineKind { blank, request, other };

    LineKind read(const LineReader::Line& line);
    bool decode(std::string_view text);

    LineReader lines_;
    const Descriptor& output_;
    const Descriptor& errors_;

    Request request_;
    std::vector<JsonReader::Member> members_;  ///< where each goes in the request
};

}  // namespace brellin
