// Any text a page can navigate to, read as a page bridge message.
#include "Notification/TSKNotification.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const QUrl &url : {QUrl(text), QUrl(text, QUrl::StrictMode), QUrl(QStringLiteral("tsmsg:///") + text),
                            QUrl(QStringLiteral("tiskos://") + text)}) {
        const std::optional<TSKNotification> notification = TSKNotification::notificationFromURL(url);
        if (!notification)
            continue;
        // Every parameter must be text the observers can use.
        const std::optional<QVariantMap> parameters = notification->parameters();
        if (parameters) {
            for (const QVariant &value : *parameters) {
                if (value.typeId() != QMetaType::QString)
                    __builtin_trap();
            }
        }
        (void)notification->description();
    }
    return 0;
}
