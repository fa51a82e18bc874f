#pragma once

#include "BrellinCore/platform/Descriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;

namespace brellin::bench {

/// What the same work costs with the libraries alone, without a guard or a record of our own.
namespace InProcessFloors {

/// Reads every line of the input, parses it, and writes a reply with its id.
void answerPings(const Descriptor& input, const Descriptor& output);

/// Lets Boost.JSON's parser read the text, or the file in pieces, and takes no notice of what it finds.
void passOver(std::string_view text);
void passOverFile(const std::string& path);

void parseDate(const char* text);

void formatDate(std::int64_t secondsSinceEpoch);

/// A connection of its own to a history.
class Connection {
  public:
    explicit Connection(const std::string& path);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    sqlite3* get() const { return database_; }

  private:
    sqlite3* database_ = nullptr;
};

void readNames(sqlite3* database, const std::string& sessionId);

}  // namespace InProcessFloors

}  // namespace brellin::bench
