<?xml version="1.0" encoding="utf-8"?>
<TS version="2.1" language="ru"><context>
    <name>Plugins</name> <!-- for the texts of the JSON file -->
    <message><source>Kettle</source><translation>Чайник</translation></message>
</context></TS>
