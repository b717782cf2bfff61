<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>desktop::BatchWindow</name>
    <message numerus="yes">
        <source>%n photograph(s)</source>
        <translation>
            <numerusform>%n photograph</numerusform>
            <numerusform>%n photographs</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n done</source>
        <translation>
            <numerusform>%n done</numerusform>
            <numerusform>%n done</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n failed</source>
        <translation>
            <numerusform>%n failed</numerusform>
            <numerusform>%n failed</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>desktop::Workbench</name>
    <message numerus="yes">
        <source>%n sample(s) are not finite; they are left as they are.</source>
        <translation>
            <numerusform>%n sample is not finite; it is left as it is.</numerusform>
            <numerusform>%n samples are not finite; they are left as they are.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n sample(s) came out as no number; they are 0.</source>
        <translation>
            <numerusform>%n sample came out as no number; it is 0.</numerusform>
            <numerusform>%n samples came out as no number; they are 0.</numerusform>
        </translation>
    </message>
</context>
</TS>
