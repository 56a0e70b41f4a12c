#pragma once

#include "memory/Records.h"

#include <QAbstractListModel>
#include <vector>

namespace tavik {

// The conversations as lines of a list. A line is made when it comes into sight, since there may be
// tens of thousands.
class ConversationList : public QAbstractListModel {
public:
    void show(std::vector<ConversationHistoryEntry> entries);
    const std::vector<ConversationHistoryEntry>& shown() const { return entries; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    std::vector<ConversationHistoryEntry> entries;
};

} // namespace tavik
