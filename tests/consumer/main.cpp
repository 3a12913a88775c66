#include <Sync/SyncCore/Consts.h>
#include <Sync/SyncCore/SyncException.h>

#include <unistd.h>

#include <cstdio>

int main()
{
    try {
        throw sync::core::SyncException(sync::core::consts::TEMP_FOLDER_NAME);
    } catch (const std::exception& e) {
        std::printf("%s\n", e.what());
    }
    return 0;
}
