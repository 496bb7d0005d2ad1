// The file of the states that wait: whatever it holds, what waits can be taken, and what then
// waits is the same at the next start.
#include "outbox/outbox.h"
#include "fuzz/database.h"

namespace {

qint64 takeAll(Outbox &outbox)
{
    Outbox::Message message;
    while (outbox.take(message)) {
    }
    require(outbox.taken() == outbox.waiting() && outbox.taken() == outbox.ledger().waiting &&
            outbox.ledger().droppedLost >= 0);
    return outbox.taken();
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    static const QString path = qEnvironmentVariable("HOME") + QLatin1String("/outbox.db");
    static const QByteArray sound = [] {
        require(OutboxFile(path).open());
        return contentOf(path);
    }();
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(bytes.data()), size_t(bytes.size()));
    const bool discards = in.ConsumeBool();
    const int confirmed = in.ConsumeIntegralInRange(0, 3);
    const bool isChanged =
        makeDatabase(path, sound, in,
                     {"INSERT INTO block VALUES(?, ?, ?, ?)",
                      "UPDATE state SET waiting = ?, bytes = ?, goneBytes = ?, goneCount = ?",
                      "UPDATE state SET clock = ?, date = ?, since = ?, droppedOld = ?",
                      "INSERT INTO state(waiting, date) VALUES(?, ?)"});
    qint64 left = 0;
    {
        Outbox outbox(path);
        outbox.append(QStringLiteral("lamp_1_1_a"), "{\"on\":true}");
        Outbox::Message message;
        for (int i = 0; i < confirmed && outbox.take(message); ++i) {
        }
        outbox.confirm(confirmed);
        outbox.putBack();
        if (discards) {
            outbox.discard({QStringLiteral("lamp_1_1_a")});
        }
        left = takeAll(outbox);
    }
    Outbox again(path);
    // Damage that shows at the last write costs what was not written.
    const bool isDamaged = isChanged || QFile::exists(path + QLatin1String(".damaged"));
    require(takeAll(again) == left || isDamaged);
}
