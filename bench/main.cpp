#include "BrellinCore/platform/ProcessSetup.h"
#include "bench/Rows.h"

#include <cstdio>
#include <exception>
#include <string_view>

int main(int count, char** words) {
    using namespace brellin::bench;
    const bool quick = count == 2 && std::string_view(words[1]) == "--quick";
    if (count > 1 && !quick) {
        std::fputs("usage: havrick-bench [--quick]\n", stderr);
        return 2;
    }
    brellin::ProcessSetup::prepare();
    try {
        constexpr std::size_t megabyte = std::size_t{1} << 20U;
        const Patience patience{Seconds(quick ? 1 : 8), (quick ? 20 : 200) * megabyte,
                                quick ? 1000 : 10000};
        Table table;
        addProtocolRows(table, patience);
        addReportRows(table, patience);
        addJsonRows(table, patience);
        addRecordRows(table, patience);
        addHistoryRows(table, patience);
        addInProcessRows(table, patience);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "havrick-bench: %s\n", failure.what());
        return 1;
    }
}
