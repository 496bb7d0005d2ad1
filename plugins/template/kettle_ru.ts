<?xml version="1.0" encoding="utf-8"?>
<TS version="2.1" language="ru"><context><name>Plugins</name> <!-- for the texts of the JSON file -->
    <message><source>Kettle</source><translation>Чайник</translation></message>
    <message><source>A kettle that does not exist, to begin with</source><translation>Для начала чайник, которого нет</translation></message>
    <message><source>Water temperature</source><translation>Температура воды</translation></message>
    <message><source>Time between two readings</source><translation>Время между двумя измерениями</translation></message>
    <message><source>s</source><translation>с</translation></message>
</context></TS>
