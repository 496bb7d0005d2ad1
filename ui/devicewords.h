#pragma once

#include <QHash>
#include <QJsonObject>
#include <QStringList>

class QJsonValue;

// The words of the device types for their devices and the members of their states, from the
// descriptions of their plugins, translated; the raw names where there are none. All are plain
// texts of limited length. Interface thread.
class DeviceWords
{
public:
    struct Member
    {
        QString title;
        QString unit; // empty: none
    };

    DeviceWords() { setDescriptions({}); }

    // `descriptions`: type name to description. The gateway has its own words.
    void setDescriptions(const QJsonObject &descriptions);

    QString typeTitle(const QString &type) const;
    // A sentence on the type; may be empty.
    QString typeDescription(const QString &type) const;
    // `path`: as in HistoryMember.
    Member member(const QString &type, const QString &path) const;
    // A value with its unit.
    QString valueText(const QJsonValue &value, const QString &unit) const;
    // The state on one line; without words for the type as stateText() gives it.
    QString stateLine(const QString &type, const QJsonObject &state) const;

    // The paths of the numbers and booleans in a state, those of objects in it, too.
    static QStringList numericMembers(const QJsonObject &state);

    // A text of a description, cut, on one line, translated.
    static QString translated(const QJsonValue &text);
    // The first part of a short id.
    static QString typeOf(const QString &shortid);

private:
    struct Type
    {
        QString title;
        QString description;
        QHash<QString, Member> members;
    };

    void appendLine(QString &line, const Type &type, const QString &path,
                    const QJsonObject &state) const;

    QHash<QString, Type> m_types;
};
