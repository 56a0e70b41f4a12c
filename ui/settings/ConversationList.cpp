#include "ui/settings/ConversationList.h"

#include "platform/text/Text.h"
#include "ui/PhaseText.h"

#include <utility>

namespace tavik {

void ConversationList::show(std::vector<ConversationHistoryEntry> newEntries) {
    beginResetModel();
    entries = std::move(newEntries);
    endResetModel();
}

int ConversationList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries.size());
}

QVariant ConversationList::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& entry = entries[static_cast<std::size_t>(index.row())];
    if (role == Qt::ToolTipRole)
        return qt(entry.summary);
    if (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)
        return {};
    return qt(mediumDateShortTime(entry.endedAt)) + "   —   " + qt(entry.summary).simplified();
}

} // namespace tavik
