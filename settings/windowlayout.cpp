// The formats are those of Qt 5.15, qmainwindowlayout.cpp and qwidget.cpp.
#include "settings/windowlayout.h"

#include <QByteArray>
#include <QDataStream>
#include <QRect>

namespace {

constexpr int maxBytes = 4096;
constexpr int maxCoordinate = 32767; // pixels; beyond what windowing systems take
constexpr int maxScreens = 64;
constexpr int maxToolBarLines = 16;
constexpr int maxToolBars = 16; // in a line

// Reads untrusted bytes, up to the first value that is out of range.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes)
        : m_in(bytes)
        , m_good(bytes.size() <= maxBytes)
    {
        m_in.setVersion(QDataStream::Qt_5_0);
    }

    template <typename Integer>
    Integer between(Integer min, Integer max)
    {
        const auto value = read<Integer>();
        m_good = m_good && value >= min && value <= max;
        return m_good ? value : min;
    }
    template <typename T>
    T read()
    {
        T value{};
        if (m_good) {
            m_in >> value;
            m_good = m_in.status() == QDataStream::Ok;
        }
        return value;
    }
    void coordinates(int count)
    {
        for (int i = 0; i < count; ++i) {
            between<qint32>(-maxCoordinate, maxCoordinate);
        }
    }
    bool isGoodAndAtEnd() const { return m_good && m_in.atEnd(); }

private:
    QDataStream m_in;
    bool m_good;
};

} // namespace

bool windowlayout::isState(const QByteArray &bytes)
{
    Reader in(bytes);
    in.between<qint32>(0xff, 0xff); // marker
    in.between<qint32>(0, 0);       // version
    in.between<quint8>(0xfd, 0xfd); // dock widgets
    in.between<qint32>(0, 0);
    in.coordinates(2); // size of the central widget
    for (int corner = 0; corner < 4; ++corner) {
        in.between<qint32>(0, 8); // Qt::DockWidgetArea
    }
    in.between<quint8>(0xfc, 0xfc); // tool bars
    const auto lines = in.between<qint32>(0, maxToolBarLines);
    for (int line = 0; line < lines; ++line) {
        in.between<qint32>(0, 3); // edge of the window
        const auto toolBars = in.between<qint32>(0, maxToolBars);
        for (int toolBar = 0; toolBar < toolBars; ++toolBar) {
            in.read<QString>();       // object name
            in.between<quint8>(0, 3); // shown, vertical
            in.coordinates(2);        // position and preferred size
            in.read<quint64>();       // packed geometry
        }
    }
    return in.isGoodAndAtEnd();
}

bool windowlayout::isGeometry(const QByteArray &bytes)
{
    Reader in(bytes);
    in.between<quint32>(0x1d9d0cb, 0x1d9d0cb); // marker
    in.between<quint16>(3, 3);                 // version, since Qt 5.12
    in.between<quint16>(0, 0);
    in.coordinates(8);                  // frame and normal rectangle
    in.between<qint32>(-1, maxScreens); // -1: outside of all
    in.between<quint8>(0, 2);           // Qt::WindowMaximized
    in.between<quint8>(0, 4);           // Qt::WindowFullScreen
    in.coordinates(1);                  // width of the screen
    in.coordinates(4);                  // rectangle
    return in.isGoodAndAtEnd();
}
