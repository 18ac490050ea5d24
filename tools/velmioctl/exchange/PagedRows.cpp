#include <velmioctl/exchange/PagedRows.h>

namespace velmioctl::exchange {

PagedRows::PagedRows(std::vector<const TableShape*> tables, size_t pageRows, IdRange ids)
    : tables(std::move(tables))
    , pageRows(pageRows)
    , ids(ids)
{
}

bool PagedRows::nextTable()
{
    if (tablesBegun == tables.size())
        return false;
    currentTable = tables[tablesBegun++];
    currentLastId = beginTable();
    page.clear();
    pageRow = 0;
    nextId = ids.lowest;
    hasMore = true;
    return true;
}

bool PagedRows::nextRow()
{
    if (pageRow == page.size() && hasMore) {
        page = readPage(nextId);
        pageRow = 0;
        // No row can follow the highest possible id.
        hasMore = page.size() == pageRows && page.back().id < ids.highest;
        if (hasMore)
            nextId = page.back().id + 1;
    }
    if (pageRow == page.size())
        return false;
    std::swap(currentRow, page[pageRow++]);
    return true;
}

} // namespace velmioctl::exchange
