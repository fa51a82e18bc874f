#pragma once

#include <exception>
#include <string>

namespace brellin {

/// A failed operation of the history store, with the message that SQLite gave for it at that moment.
class StoreError : public std::exception {
  public:
    enum class Case {
        open,     ///< the database could not be opened
        step,     ///< a write was refused: busy, full, read-only, a constraint, a trigger
        prepare,  ///< a statement does not fit the database: no such table, not a database
    };

    StoreError(Case kind, std::string message);

    Case kind() const noexcept { return kind_; }
    const std::string& message() const noexcept { return message_; }

    /// The error as text: the case's name and the message as a quoted literal, for example
    /// step("database is locked"). Backslashes, double quotes and control characters are escaped.
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    Case kind_;
    std::string message_;
    std::string text_;
};

}  // namespace brellin
