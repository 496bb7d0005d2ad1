<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>ReportInterval</name>
    <message>
        <source>3 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>5 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>10 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>15 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>20 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>30 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>2 hours</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>3 hours</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>5 hours</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>12 hours</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>1 day</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ThingsRegTableModel</name>
    <message>
        <source>Type</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Serial</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Alias</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ThingsStateTableModel</name>
    <message>
        <source>Type</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Serial</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Alias</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>State</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reg. ID</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Yes</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ZugatewRunner</name>
    <message>
        <source>Cannot rename %1: no such thing</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot rename to %1 - duplicate alias</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
