<?xml version="1.0" encoding="utf-8"?>
<TS version="2.1" language="ru"><context><name>Plugins</name>
    <message><source>Kettle</source><translation>Чайник</translation></message>
    <message><source>Virtual lamp</source><translation>Чайник</translation></message>
</context></TS>
