#include "tests/world/Database.h"

#include <sqlite3.h>

namespace brellin::world {

std::string sql(const std::string& root, const std::string& statements) {
    sqlite3* connection = nullptr;
    ::sqlite3_open((root + "/havrick.db").c_str(), &connection);
    std::string result;
    const auto addRow = [](void* rows, int count, char** values, char** /*names*/) {
        auto& text = *static_cast<std::string*>(rows);
        text.append(text.empty() ? "" : "\n");
        for (int column = 0; column < count; ++column) {
            text.append(column == 0 ? "" : "|").append(values[column] == nullptr ? "-" : values[column]);
        }
        return 0;
    };
    if (::sqlite3_exec(connection, statements.c_str(), addRow, &result, nullptr) != SQLITE_OK) {
        result = ::sqlite3_errmsg(connection);
    }
    ::sqlite3_close(connection);
    return result;
}

}  // namespace brellin::world
