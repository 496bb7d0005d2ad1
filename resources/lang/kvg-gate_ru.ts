<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>Nimbra Cloud Gateway Software.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Developed by</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Support</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Uses:</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AliasPrompts</name>
    <message>
        <source>Thing Name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Please fill the alias for&lt;br&gt;&lt;b&gt;%1 / %2&lt;/b&gt;&lt;br&gt;Note: the alias must be unique among all the devices registered to your account.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CloudPage</name>
    <message>
        <source>Ok</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Missing</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Corrupt</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cryptographic error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Status</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Gateway:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Serial Number:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Certificate:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Key:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Reset Registration</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Registration</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not registered</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Ready</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Gateway Registration</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The gateway registration will be voided. All the devices, gateway included, will need to be reregistered. Proceed?</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>DevicesPage</name>
    <message>
        <source>No device type has settings.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Read</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Write</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show the stored settings again</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Store the settings and apply them to the devices</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Device settings saved</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>LampModel</name>
    <message>
        <source>Lamp</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>On</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Colour</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Plugged in</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lamp %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 %</source>
        <comment>brightness</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>from the next scan on</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lamp %1 on</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lamp %1 plugged in</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>LampWindow</name>
    <message>
        <source>Lamps</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There are no lamps. Their number is on the settings page.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>All lamps are unplugged. Check &quot;Plugged in&quot; to bring one back.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>On: %1 of %2. Unplugged: %3.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Devices</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rescan</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Device settings</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Known devices</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show/Hide</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Check for Updates</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>About</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Exit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Tool bar</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Device windows</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show the windows that devices bring along</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>More</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cloud connection is not configured</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Loading plugins</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Assembling plugins list</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Scanning for devices</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Assembling devices list</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connecting to the cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Requesting status</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connected to the cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disconnected from the cloud</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RegThingsEditor</name>
    <message>
        <source>No devices are known yet. Devices that were named or registered are remembered here.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Forget Selected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Known devices</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RegistrationWizard</name>
    <message>
        <source>&amp;Start</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Copy to Clipboard</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;New Session</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>If all things have names, registration process will begin right away. Please be ready to fill in the code from the next window into the corresponding field in the Nimbra Cloud.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connecting...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Code</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Expires in</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Open in browser</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Expires in:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Registered</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Querying...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Step 2. Connecting to the cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Step 4. Finish</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your registration process is complete</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Step 1. Fill in the thing names</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The code has expired. Begin a new session for another one.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Step 3. Enter the code in the cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Registration Error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Registation has completed with an error.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 (gateway): %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Code copied to clipboard</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The browser could not be opened</source>
        <translation type="unfinished"></translation>
    </message>
</context>
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
    <name>SettingsPage</name>
    <message>
        <source>Backup files (*.bak)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source> s</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Dark theme</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start when &amp;I log on</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Closing the window leaves the program in the tray</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start &amp;hidden in the tray</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Look for devices regularly</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source> min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Backup…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>L&amp;oad Backup…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Re&amp;vert</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Apply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cloud</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Report interval</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Host</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Port</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Keep-alive</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Interface</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Language</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>System</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Never more often than every 30 seconds</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time between two searches</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Backup and log</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open Log &amp;Folder</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings saved</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load Backup</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save As</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 already exists. Replace it?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Backup could not be saved</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Configuration saved</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Backup</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The configuration backup file has been generated. It contains sensitive information, so keep it safe!</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Configuration could not be restored.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Import</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Configuration has been restored from a backup. Restart the application as soon as possible.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>StatePage</name>
    <message>
        <source>Devices</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Looking for devices…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No devices found yet. Attach a device and press Rescan, or switch on its type under Device settings.</source>
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
    <name>ZUSettings</name>
    <message>
        <source>Language</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Language will be changed when the application is relaunched</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Theme</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Application theme will be changed when the application is relaunched</source>
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
    <message>
        <source>Cannot write to %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot read %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot restore config - wrong version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot restore config from %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot restore settings from %1 - invalid data</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot restore credentials from %1 - invalid data</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>deviceforms</name>
    <message>
        <source>Enabled</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
