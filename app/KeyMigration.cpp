#include "app/KeyMigration.h"

#include "brains/Keychain.h"

namespace tavik {

Task<void> migrateKeysMeanwhile() {
    return Task<void>([](std::stop_token stop) {
        Keychain::standard().migrateFromFilesIfNeeded(std::move(stop));
    });
}

} // namespace tavik
