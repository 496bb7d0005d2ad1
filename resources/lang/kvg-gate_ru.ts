<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>Nimbra Cloud Gateway Software.</source>
        <translation>Программное обеспечение шлюза Nimbra Cloud.</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Версия</translation>
    </message>
    <message>
        <source>Developed by</source>
        <translation>Разработчик</translation>
    </message>
    <message>
        <source>Support</source>
        <translation>Поддержка</translation>
    </message>
    <message>
        <source>Uses:</source>
        <translation>Компоненты:</translation>
    </message>
    <message>
        <source>OpenSSL: not loaded</source>
        <translation>OpenSSL: не загружен</translation>
    </message>
</context>
<context>
    <name>AliasPrompts</name>
    <message>
        <source>Thing Name</source>
        <translation>Имя устройства</translation>
    </message>
    <message>
        <source>Please fill the alias for&lt;br&gt;&lt;b&gt;%1 / %2&lt;/b&gt;&lt;br&gt;Note: the alias must be unique among all the devices registered to your account.</source>
        <translation>Задайте имя устройства&lt;br&gt;&lt;b&gt;%1 / %2&lt;/b&gt;&lt;br&gt;Имя не должно совпадать с именами других устройств вашей учётной записи.</translation>
    </message>
</context>
<context>
    <name>CloudFailure</name>
    <message>
        <source>register the gateway again</source>
        <translation>зарегистрируйте шлюз заново</translation>
    </message>
    <message>
        <source>the certificate or the key of this gateway is missing</source>
        <translation>сертификат или ключ этого шлюза отсутствует</translation>
    </message>
    <message>
        <source>the certificate or the key of this gateway is damaged</source>
        <translation>сертификат или ключ этого шлюза повреждён</translation>
    </message>
    <message>
        <source>the key belongs to another certificate</source>
        <translation>ключ принадлежит другому сертификату</translation>
    </message>
    <message>
        <source>the certificate of this gateway has expired</source>
        <translation>срок действия сертификата этого шлюза истёк</translation>
    </message>
    <message>
        <source>the certificate of this gateway is not valid yet</source>
        <translation>срок действия сертификата этого шлюза ещё не наступил</translation>
    </message>
    <message>
        <source>check the date and the time of this computer</source>
        <translation>проверьте дату и время на этом компьютере</translation>
    </message>
    <message>
        <source>check the cloud&apos;s address in the settings</source>
        <translation>проверьте адрес облака в настройках</translation>
    </message>
    <message>
        <source>check the network and the firewall</source>
        <translation>проверьте сеть и брандмауэр</translation>
    </message>
    <message>
        <source>check for a proxy or a virus scanner in between</source>
        <translation>проверьте, нет ли на пути прокси или антивируса</translation>
    </message>
    <message>
        <source>retrying</source>
        <translation>попытка будет повторена</translation>
    </message>
    <message>
        <source>the cloud rejects the certificate of this gateway</source>
        <translation>облако отклоняет сертификат этого шлюза</translation>
    </message>
    <message>
        <source>the cloud and this gateway have no TLS version or cipher in common</source>
        <translation>у облака и этого шлюза нет общей версии TLS или общего шифра</translation>
    </message>
    <message>
        <source>the cloud rejects the registration of this gateway</source>
        <translation>облако отклоняет регистрацию этого шлюза</translation>
    </message>
    <message>
        <source>the cloud cannot be reached</source>
        <translation>облако недоступно</translation>
    </message>
    <message>
        <source>TLS handshake failed</source>
        <translation>не удалось установить соединение TLS</translation>
    </message>
    <message>
        <source>for the cloud the certificate of this gateway has expired</source>
        <translation>облако считает сертификат этого шлюза просроченным</translation>
    </message>
    <message>
        <source>the certificate of this gateway was revoked</source>
        <translation>сертификат этого шлюза отозван</translation>
    </message>
    <message>
        <source>the cloud does not know who issued the certificate of this gateway</source>
        <translation>облаку неизвестно, кто выдал сертификат этого шлюза</translation>
    </message>
    <message>
        <source>no server at that address, or a firewall blocks it</source>
        <translation>по этому адресу нет сервера или его блокирует брандмауэр</translation>
    </message>
    <message>
        <source>check the cloud&apos;s address and port in the settings, and the firewall</source>
        <translation>проверьте адрес и порт облака в настройках и брандмауэр</translation>
    </message>
    <message>
        <source>host name lookup failed</source>
        <translation>не удалось найти адрес по имени</translation>
    </message>
    <message>
        <source>check the network and the cloud&apos;s address in the settings</source>
        <translation>проверьте сеть и адрес облака в настройках</translation>
    </message>
    <message>
        <source>the cloud closed the connection</source>
        <translation>облако закрыло соединение</translation>
    </message>
    <message>
        <source>the cloud does not speak MQTT 3.1.1</source>
        <translation>облако не поддерживает MQTT 3.1.1</translation>
    </message>
    <message>
        <source>the cloud is out of service</source>
        <translation>облако временно не работает</translation>
    </message>
    <message>
        <source>the cloud does not answer pings</source>
        <translation>облако не отвечает на проверку связи</translation>
    </message>
    <message>
        <source>the connection failed</source>
        <translation>не удалось установить соединение</translation>
    </message>
    <message>
        <source>this build trusts another cloud, or the connection is intercepted</source>
        <translation>эта сборка доверяет другому облаку, или соединение перехвачено</translation>
    </message>
    <message>
        <source>Broker certificate rejected</source>
        <translation>Сертификат брокера отклонён</translation>
    </message>
    <message>
        <source>the server at that address does not speak TLS</source>
        <translation>сервер по этому адресу не поддерживает TLS</translation>
    </message>
    <message>
        <source>check the date and the time of this computer, then register the gateway again; all names stay</source>
        <translation>проверьте дату и время на этом компьютере, затем зарегистрируйте шлюз заново; все имена сохранятся</translation>
    </message>
</context>
<context>
    <name>CloudPage</name>
    <message>
        <source>Ok</source>
        <translation>В порядке</translation>
    </message>
    <message>
        <source>Missing</source>
        <translation>Отсутствует</translation>
    </message>
    <message>
        <source>Corrupt</source>
        <translation>Повреждён</translation>
    </message>
    <message>
        <source>Cryptographic error</source>
        <translation>Криптографическая ошибка</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Состояние</translation>
    </message>
    <message>
        <source>Gateway:</source>
        <translation>Шлюз:</translation>
    </message>
    <message>
        <source>Connection:</source>
        <translation>Соединение:</translation>
    </message>
    <message>
        <source>Serial Number:</source>
        <translation>Серийный номер:</translation>
    </message>
    <message>
        <source>Certificate:</source>
        <translation>Сертификат:</translation>
    </message>
    <message>
        <source>Key:</source>
        <translation>Ключ:</translation>
    </message>
    <message>
        <source>&amp;Reset Registration</source>
        <translation>Сбросить &amp;регистрацию</translation>
    </message>
    <message>
        <source>Registration</source>
        <translation>Регистрация</translation>
    </message>
    <message>
        <source>Not registered</source>
        <translation>Не зарегистрирован</translation>
    </message>
    <message>
        <source>Ready</source>
        <translation>Готов</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Подключён</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <translation>Не подключён</translation>
    </message>
    <message>
        <source>Gateway Registration</source>
        <translation>Регистрация шлюза</translation>
    </message>
    <message>
        <source>The gateway registration will be voided. All the devices, gateway included, will need to be reregistered. Proceed?</source>
        <translation>Регистрация шлюза будет аннулирована. Все устройства, включая сам шлюз, придётся зарегистрировать заново. Продолжить?</translation>
    </message>
    <message>
        <source>&amp;Try Now</source>
        <translation>&amp;Подключить сейчас</translation>
    </message>
    <message>
        <source>Messages:</source>
        <translation>Сообщения:</translation>
    </message>
    <message>
        <source>Valid:</source>
        <translation>Действителен:</translation>
    </message>
    <message>
        <source>C&amp;heck Connection...</source>
        <translation>Проверить с&amp;вязь...</translation>
    </message>
</context>
<context>
    <name>ConfigurationBackup</name>
    <message>
        <source>Cannot write to %1</source>
        <translation>Не удалось записать файл %1</translation>
    </message>
    <message>
        <source>Cannot read %1</source>
        <translation>Не удалось прочитать файл %1</translation>
    </message>
    <message>
        <source>Cannot restore config - wrong version</source>
        <translation>Не удалось восстановить конфигурацию: неподдерживаемая версия</translation>
    </message>
    <message>
        <source>Cannot restore config from %1</source>
        <translation>Не удалось восстановить конфигурацию из файла %1</translation>
    </message>
    <message>
        <source>Cannot restore settings from %1 - invalid data</source>
        <translation>Не удалось восстановить настройки из файла %1: недопустимые данные</translation>
    </message>
    <message>
        <source>Cannot restore credentials from %1 - invalid data</source>
        <translation>Не удалось восстановить учётные данные из файла %1: недопустимые данные</translation>
    </message>
</context>
<context>
    <name>ConnectionCheck</name>
    <message>
        <source>Settings</source>
        <translation>Настройки</translation>
    </message>
    <message>
        <source>Host name</source>
        <translation>Имя сервера</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Порт</translation>
    </message>
    <message>
        <source>Encryption</source>
        <translation>Шифрование</translation>
    </message>
    <message>
        <source>Certificate and key</source>
        <translation>Сертификат и ключ</translation>
    </message>
    <message>
        <source>Sign-in</source>
        <translation>Вход</translation>
    </message>
    <message>
        <source>Registration server</source>
        <translation>Сервер регистрации</translation>
    </message>
    <message>
        <source>Clock</source>
        <translation>Часы</translation>
    </message>
    <message>
        <source>Data folder</source>
        <translation>Папка данных</translation>
    </message>
    <message>
        <source>No answer within ten seconds</source>
        <translation>Нет ответа в течение десяти секунд</translation>
    </message>
    <message>
        <source>Check the network and the firewall. If both are good, something else than the cloud answers at this address.</source>
        <translation>Проверьте сеть и брандмауэр. Если с ними всё в порядке, по этому адресу отвечает не облако.</translation>
    </message>
    <message>
        <source>Not checked, because an earlier step failed</source>
        <translation>Не проверено, так как предыдущий шаг не удался</translation>
    </message>
    <message>
        <source>Correct it in the settings</source>
        <translation>Исправьте его в настройках</translation>
    </message>
    <message>
        <source>The cloud&apos;s address is no host name</source>
        <translation>Адрес облака не является именем сервера</translation>
    </message>
    <message>
        <source>The cloud&apos;s port is not between 1 and 65535</source>
        <translation>Порт облака не находится между 1 и 65535</translation>
    </message>
    <message>
        <source>The registration server&apos;s address is neither HTTPS nor this computer</source>
        <translation>Адрес сервера регистрации — не HTTPS и не этот компьютер</translation>
    </message>
    <message>
        <source>Ask the administrator to correct it</source>
        <translation>Попросите администратора исправить его</translation>
    </message>
    <message>
        <source>Cloud: %1, port %2. Registration server: %3</source>
        <translation>Облако: %1, порт %2. Сервер регистрации: %3</translation>
    </message>
    <message>
        <source>%1, port %2 answers</source>
        <translation>%1, порт %2 отвечает</translation>
    </message>
    <message>
        <source>The broker&apos;s certificate is issued by %1 and valid until %2</source>
        <translation>Сертификат брокера выдан %1 и действителен до %2</translation>
    </message>
    <message>
        <source> (issued by %1)</source>
        <translation> (выдан %1)</translation>
    </message>
    <message>
        <source>This gateway is not registered</source>
        <translation>Этот шлюз не зарегистрирован</translation>
    </message>
    <message>
        <source>Issued by %1 and valid until %2</source>
        <translation>Выдан %1, действителен до %2</translation>
    </message>
    <message>
        <source>Connected since %1</source>
        <translation>Подключён с %1</translation>
    </message>
    <message>
        <source>Check the network, the firewall and the registration server&apos;s address. An open connection to the cloud works without this server.</source>
        <translation>Проверьте сеть, брандмауэр и адрес сервера регистрации. Уже установленная связь с облаком работает и без этого сервера.</translation>
    </message>
    <message>
        <source>%1 answers with the error %2</source>
        <translation>%1 отвечает ошибкой %2</translation>
    </message>
    <message>
        <source>It is out of service: try again later</source>
        <translation>Он временно не работает: повторите попытку позже</translation>
    </message>
    <message>
        <source>%1 answers</source>
        <translation>%1 отвечает</translation>
    </message>
    <message>
        <source>It is %1 here, %2 on the server</source>
        <translation>Здесь %1, на сервере %2</translation>
    </message>
    <message>
        <source>It is %1 here, before this version was made</source>
        <translation>Здесь %1, раньше выпуска этой версии</translation>
    </message>
    <message>
        <source>Set the date and the time of this computer: certificates are valid for a time</source>
        <translation>Установите дату и время на этом компьютере: срок действия сертификатов ограничен</translation>
    </message>
    <message>
        <source>It differs from the server&apos;s by %1 s</source>
        <translation>Расхождение с часами сервера %1 с</translation>
    </message>
    <message>
        <source>It is %1 here; no server told its time</source>
        <translation>Здесь %1; ни один сервер не сообщил времени</translation>
    </message>
    <message>
        <source>%1 cannot be written: %2</source>
        <translation>Нет записи в %1: %2</translation>
    </message>
    <message>
        <source>Check the rights of this folder and the room on the disk</source>
        <translation>Проверьте права на эту папку и место на диске</translation>
    </message>
    <message>
        <source>%1 MB are free, %2 may be needed for waiting states</source>
        <translation>Свободно %1 МБ, а для ожидающих состояний может понадобиться %2</translation>
    </message>
    <message>
        <source>Make room on the disk, or states may be lost while the cloud is away</source>
        <translation>Освободите место на диске, иначе состояния могут пропасть, пока нет связи</translation>
    </message>
    <message>
        <source>%1 can be written, %2 MB are free</source>
        <translation>%1 доступна для записи, свободно %2 МБ</translation>
    </message>
    <message>
        <source>The broker tells nothing without this gateway&apos;s certificate</source>
        <translation>Без сертификата этого шлюза брокер ничего о себе не сообщает</translation>
    </message>
</context>
<context>
    <name>ConnectionCheckDialog</name>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Копировать</translation>
    </message>
    <message>
        <source>&amp;Save Report...</source>
        <translation>&amp;Сохранить отчёт...</translation>
    </message>
    <message>
        <source>Check &amp;Again</source>
        <translation>Проверить сн&amp;ова</translation>
    </message>
    <message>
        <source>Check Connection</source>
        <translation>Проверка связи</translation>
    </message>
    <message>
        <source>Save Report</source>
        <translation>Сохранить отчёт</translation>
    </message>
    <message>
        <source>Text files (*.txt)</source>
        <translation>Текстовые файлы (*.txt)</translation>
    </message>
    <message>
        <source>The report could not be saved: %1</source>
        <translation>Не удалось сохранить отчёт: %1</translation>
    </message>
</context>
<context>
    <name>ConnectionIndicator</name>
    <message>
        <source>Cloud connection is not configured</source>
        <translation>Подключение к облаку не настроено</translation>
    </message>
    <message>
        <source>Connected to the cloud</source>
        <translation>Облако подключено</translation>
    </message>
    <message>
        <source>Disconnected from the cloud</source>
        <translation>Нет подключения к облаку</translation>
    </message>
</context>
<context>
    <name>DeviceListModel</name>
    <message>
        <source>Double-click or press F2 to give it a name</source>
        <translation>Дважды щёлкните или нажмите F2, чтобы дать имя</translation>
    </message>
    <message>
        <source>not here</source>
        <translation>не подключено</translation>
    </message>
</context>
<context>
    <name>DevicePane</name>
    <message>
        <source>Select a device to see what it reports.</source>
        <translation>Выберите устройство, чтобы увидеть, что оно сообщает.</translation>
    </message>
    <message>
        <source>&amp;History…</source>
        <translation>&amp;История…</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Закрыть</translation>
    </message>
    <message>
        <source>Close the details</source>
        <translation>Закрыть сведения</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Состояние</translation>
    </message>
    <message>
        <source>Member</source>
        <translation>Величина</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Значение</translation>
    </message>
    <message>
        <source>Recent</source>
        <translation>Недавно</translation>
    </message>
    <message>
        <source>Kind:</source>
        <translation>Вид:</translation>
    </message>
    <message>
        <source>Identifier:</source>
        <translation>Идентификатор:</translation>
    </message>
    <message>
        <source>Cloud:</source>
        <translation>Облако:</translation>
    </message>
    <message>
        <source>Last change:</source>
        <translation>Изменено:</translation>
    </message>
    <message>
        <source>(no name)</source>
        <translation>(без имени)</translation>
    </message>
    <message>
        <source>not registered</source>
        <translation>не зарегистрировано</translation>
    </message>
    <message>
        <source>registered</source>
        <translation>зарегистрировано</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>неизвестно</translation>
    </message>
</context>
<context>
    <name>DeviceSettingsPage</name>
    <message>
        <source>No device type has settings.</source>
        <translation>Ни у одного типа устройств нет настроек.</translation>
    </message>
    <message>
        <source>&amp;Read</source>
        <translation>&amp;Прочитать</translation>
    </message>
    <message>
        <source>&amp;Write</source>
        <translation>&amp;Записать</translation>
    </message>
    <message>
        <source>Show the stored settings again</source>
        <translation>Показать сохранённые настройки</translation>
    </message>
    <message>
        <source>Store the settings and apply them to the devices</source>
        <translation>Сохранить настройки и применить их к устройствам</translation>
    </message>
    <message>
        <source>Device settings saved</source>
        <translation>Настройки устройств сохранены</translation>
    </message>
</context>
<context>
    <name>DeviceTable</name>
    <message>
        <source>name it…</source>
        <translation>назовите…</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Устройства</translation>
    </message>
</context>
<context>
    <name>DeviceWords</name>
    <message>
        <source>Gateway</source>
        <translation>Шлюз</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>да</translation>
    </message>
    <message>
        <source>no</source>
        <translation>нет</translation>
    </message>
    <message>
        <source>Registered devices</source>
        <translation>Зарегистрировано устройств</translation>
    </message>
</context>
<context>
    <name>History</name>
    <message>
        <source>Cannot write to %1</source>
        <translation>Не удаётся записать %1</translation>
    </message>
</context>
<context>
    <name>HistoryCurve</name>
    <message>
        <source>not known</source>
        <translation>неизвестно</translation>
    </message>
</context>
<context>
    <name>LampModel</name>
    <message>
        <source>Lamp</source>
        <translation>Лампа</translation>
    </message>
    <message>
        <source>On</source>
        <translation>Включена</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>Яркость</translation>
    </message>
    <message>
        <source>Colour</source>
        <translation>Цвет</translation>
    </message>
    <message>
        <source>Plugged in</source>
        <translation>Подключена</translation>
    </message>
    <message>
        <source>Lamp %1</source>
        <translation>Лампа %1</translation>
    </message>
    <message>
        <source>%1 %</source>
        <comment>brightness</comment>
        <translation>%1&#xa0;%</translation>
    </message>
    <message>
        <source>from the next scan on</source>
        <translation>со следующего поиска</translation>
    </message>
    <message>
        <source>Lamp %1 on</source>
        <translation>Лампа %1: включена</translation>
    </message>
    <message>
        <source>Lamp %1 plugged in</source>
        <translation>Лампа %1: подключена</translation>
    </message>
</context>
<context>
    <name>LampWindow</name>
    <message>
        <source>Lamps</source>
        <translation>Лампы</translation>
    </message>
    <message>
        <source>All lamps are unplugged. Check &quot;Plugged in&quot; to bring one back.</source>
        <translation>Все лампы отсоединены. Чтобы вернуть лампу, установите флажок «Подключена».</translation>
    </message>
    <message>
        <source>On: %1 of %2. Unplugged: %3.</source>
        <translation>Включено: %1 из %2. Отсоединено: %3.</translation>
    </message>
    <message>
        <source>There are no lamps. Their number is under Device settings.</source>
        <translation>Ламп нет. Их количество задаётся на странице «Настройки устройств».</translation>
    </message>
</context>
<context>
    <name>LeftOutBox</name>
    <message>
        <source>The device type &quot;%1&quot; was left out, because the program crashed in it twice.</source>
        <translation>Тип устройств «%1» не загружен: программа дважды аварийно завершилась в нём.</translation>
    </message>
    <message>
        <source>The device type &quot;%1&quot; was left out, because the program did not finish starting twice while it was at work.</source>
        <translation>Тип устройств «%1» не загружен: программа дважды не смогла запуститься, пока он работал.</translation>
    </message>
    <message>
        <source>The window&apos;s layout was not restored, because the last two starts did not finish.</source>
        <translation>Расположение окна не восстановлено: два последних запуска не были завершены.</translation>
    </message>
    <message>
        <source>&amp;Try Again</source>
        <translation>&amp;Повторить</translation>
    </message>
</context>
<context>
    <name>LinkNotices</name>
    <message>
        <source>The connection to the cloud is back.</source>
        <translation>Связь с облаком восстановлена.</translation>
    </message>
    <message>
        <source>The certificate of this gateway: %1. Register the gateway again on the Cloud page; all names stay.</source>
        <translation>Сертификат этого шлюза: %1. Зарегистрируйте шлюз заново на странице облака; все имена сохранятся.</translation>
    </message>
    <message>
        <source>The connection to the cloud is lost. %1</source>
        <translation>Связь с облаком потеряна. %1</translation>
    </message>
</context>
<context>
    <name>LinkText</name>
    <message>
        <source>Register this gateway to connect it to the cloud.</source>
        <translation>Зарегистрируйте этот шлюз, чтобы подключить его к облаку.</translation>
    </message>
    <message>
        <source>Connected since %1.</source>
        <translation>Подключён с %1.</translation>
    </message>
    <message>
        <source>Connecting...</source>
        <translation>Подключение...</translation>
    </message>
    <message>
        <source>Next attempt in %1 s.</source>
        <translation>Следующая попытка через %1 с.</translation>
    </message>
    <message>
        <source>No further attempt is made.</source>
        <translation>Новых попыток не будет.</translation>
    </message>
    <message>
        <source>Not valid before %1</source>
        <translation>С %1</translation>
    </message>
    <message>
        <source>Expired on %1</source>
        <translation>Истёк %1</translation>
    </message>
    <message>
        <source>Until %1</source>
        <translation>До %1</translation>
    </message>
    <message>
        <source>%1 for want of room</source>
        <translation>%1 из-за нехватки места</translation>
    </message>
    <message>
        <source>%1 too old</source>
        <translation>%1 устарели</translation>
    </message>
    <message>
        <source>%1 of a void registration</source>
        <translation>%1 от недействительной регистрации</translation>
    </message>
    <message>
        <source>%1 damaged</source>
        <translation>%1 повреждены</translation>
    </message>
    <message>
        <source>%1 delivered, %2 dropped</source>
        <translation>доставлено %1, потеряно %2</translation>
    </message>
    <message>
        <source>Waiting: %1 since %2</source>
        <translation>Ожидают: %1 с %2</translation>
    </message>
    <message>
        <source>In this run: %1</source>
        <translation>С запуска: %1</translation>
    </message>
    <message>
        <source>Since %1: %2</source>
        <translation>С %1: %2</translation>
    </message>
</context>
<context>
    <name>LiveThings</name>
    <message>
        <source>Cannot rename %1: no such thing</source>
        <translation>Не удалось переименовать %1: такого устройства нет</translation>
    </message>
    <message>
        <source>Cannot rename to %1 - duplicate alias</source>
        <translation>Не удалось присвоить имя %1: оно уже занято</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Show/Hide</source>
        <translation>Показать/скрыть</translation>
    </message>
    <message>
        <source>Check for Updates</source>
        <translation>Проверить обновления</translation>
    </message>
    <message>
        <source>About</source>
        <translation>О программе</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>Выход</translation>
    </message>
    <message>
        <source>This desktop has no tray, so closing the window only minimises it. Exit in the menu ends the gateway.</source>
        <translation>На этом рабочем столе нет области уведомлений, поэтому при закрытии окно только сворачивается. Пункт «Выход» в меню завершает шлюз.</translation>
    </message>
</context>
<context>
    <name>Navigation</name>
    <message>
        <source>Devices</source>
        <translation>Устройства</translation>
    </message>
    <message>
        <source>Cloud</source>
        <translation>Облако</translation>
    </message>
    <message>
        <source>Rescan</source>
        <translation>Найти устройства</translation>
    </message>
    <message>
        <source>Device settings</source>
        <translation>Настройки устройств</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Настройки</translation>
    </message>
    <message>
        <source>Known devices</source>
        <translation>Известные устройства</translation>
    </message>
    <message>
        <source>Tool bar</source>
        <translation>Панель инструментов</translation>
    </message>
    <message>
        <source>Device windows</source>
        <translation>Окна устройств</translation>
    </message>
    <message>
        <source>Show the windows that devices bring along</source>
        <translation>Показать собственные окна устройств</translation>
    </message>
    <message>
        <source>More</source>
        <translation>Ещё</translation>
    </message>
</context>
<context>
    <name>Outbox</name>
    <message>
        <source>The file for waiting states cannot be used</source>
        <translation>Файл для ожидающих состояний недоступен</translation>
    </message>
    <message>
        <source>Waiting states cannot be written to the disk and are lost when the gateway ends. Free some space on the disk, or check who may write there.</source>
        <translation>Ожидающие состояния не удаётся записать на диск, и при завершении шлюза они пропадут. Освободите место на диске или проверьте, кому разрешена запись.</translation>
    </message>
</context>
<context>
    <name>PlotWindow</name>
    <message>
        <source>History of %1</source>
        <translation>История: %1</translation>
    </message>
    <message>
        <source>Values to show</source>
        <translation>Показываемые величины</translation>
    </message>
    <message>
        <source>Plot of %1</source>
        <translation>График: %1</translation>
    </message>
    <message>
        <source>&amp;Hour</source>
        <translation>&amp;Час</translation>
    </message>
    <message>
        <source>&amp;Day</source>
        <translation>&amp;День</translation>
    </message>
    <message>
        <source>&amp;Week</source>
        <translation>&amp;Неделя</translation>
    </message>
    <message>
        <source>&amp;Month</source>
        <translation>&amp;Месяц</translation>
    </message>
    <message>
        <source>&amp;Back</source>
        <translation>Н&amp;азад</translation>
    </message>
    <message>
        <source>&amp;Save Picture...</source>
        <translation>&amp;Сохранить рисунок...</translation>
    </message>
    <message>
        <source>&amp;Export...</source>
        <translation>&amp;Экспорт...</translation>
    </message>
    <message>
        <source>Nothing was recorded yet.</source>
        <translation>Пока ничего не записано.</translation>
    </message>
    <message>
        <source>* has a scale of its own</source>
        <translation>* имеет собственную шкалу</translation>
    </message>
    <message>
        <source>At most %1 at once.</source>
        <translation>Не больше %1 одновременно.</translation>
    </message>
    <message>
        <source>Save Picture</source>
        <translation>Сохранение рисунка</translation>
    </message>
    <message>
        <source>Pictures (*.png)</source>
        <translation>Рисунки (*.png)</translation>
    </message>
    <message>
        <source>The picture could not be saved: %1</source>
        <translation>Не удалось сохранить рисунок: %1</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Экспорт</translation>
    </message>
    <message>
        <source>Tables (*.csv)</source>
        <translation>Таблицы (*.csv)</translation>
    </message>
    <message>
        <source>What &amp;Is Shown</source>
        <translation>То, что &amp;показано</translation>
    </message>
    <message>
        <source>This De&amp;vice</source>
        <translation>Это &amp;устройство</translation>
    </message>
    <message>
        <source>Every&amp;thing</source>
        <translation>&amp;Всё</translation>
    </message>
</context>
<context>
    <name>PlotWindows</name>
    <message>
        <source>History</source>
        <translation>История</translation>
    </message>
    <message>
        <source>The plot cannot be shown, because a part of the program is missing. Install the program again. (%1)</source>
        <translation>График нельзя показать: не хватает части программы. Установите программу заново. (%1)</translation>
    </message>
</context>
<context>
    <name>Plugins</name>
    <message>
        <source>Folder on the disk to watch</source>
        <translation>Папка на контролируемом диске</translation>
    </message>
    <message>
        <source>Number of lamps</source>
        <translation>Количество ламп</translation>
    </message>
    <message>
        <source>New lamps are on</source>
        <translation>Новые лампы включены</translation>
    </message>
    <message>
        <source>Computer</source>
        <translation>Компьютер</translation>
    </message>
    <message>
        <source>Processor</source>
        <translation>Процессор</translation>
    </message>
    <message>
        <source>%</source>
        <translation>%</translation>
    </message>
    <message>
        <source>Memory</source>
        <translation>Память</translation>
    </message>
    <message>
        <source>Memory used</source>
        <translation>Память занята</translation>
    </message>
    <message>
        <source>MiB</source>
        <translation>МиБ</translation>
    </message>
    <message>
        <source>Memory total</source>
        <translation>Память всего</translation>
    </message>
    <message>
        <source>Disk</source>
        <translation>Диск</translation>
    </message>
    <message>
        <source>Disk folder</source>
        <translation>Папка диска</translation>
    </message>
    <message>
        <source>Disk free</source>
        <translation>Диск свободно</translation>
    </message>
    <message>
        <source>Disk total</source>
        <translation>Диск всего</translation>
    </message>
    <message>
        <source>Running for</source>
        <translation>Работает</translation>
    </message>
    <message>
        <source>s</source>
        <translation>с</translation>
    </message>
    <message>
        <source>Warnings</source>
        <translation>Предупреждения</translation>
    </message>
    <message>
        <source>Time between two measurements</source>
        <translation>Время между измерениями</translation>
    </message>
    <message>
        <source>Warn from this processor load</source>
        <translation>Предупреждать при загрузке процессора от</translation>
    </message>
    <message>
        <source>Warn from this much memory used</source>
        <translation>Предупреждать при занятой памяти от</translation>
    </message>
    <message>
        <source>Warn from this much disk space used</source>
        <translation>Предупреждать при занятом месте на диске от</translation>
    </message>
    <message>
        <source>Virtual lamp</source>
        <translation>Виртуальная лампа</translation>
    </message>
    <message>
        <source>Lamps that do not exist, to try things with</source>
        <translation>Лампы, которых нет: чтобы всё попробовать</translation>
    </message>
    <message>
        <source>On</source>
        <translation>Включена</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>Яркость</translation>
    </message>
    <message>
        <source>Colour</source>
        <translation>Цвет</translation>
    </message>
    <message>
        <source>Time between two changes by themselves, 0 for none</source>
        <translation>Время между самостоятельными изменениями, 0 — без них</translation>
    </message>
    <message>
        <source>This computer itself: load, memory, disk, network, battery and temperatures</source>
        <translation>Сам этот компьютер: загрузка, память, диск, сеть, батарея и температуры</translation>
    </message>
    <message>
        <source>Network</source>
        <translation>Сеть</translation>
    </message>
    <message>
        <source>Network received</source>
        <translation>Сеть: принято</translation>
    </message>
    <message>
        <source>KiB/s</source>
        <translation>КиБ/с</translation>
    </message>
    <message>
        <source>Network sent</source>
        <translation>Сеть: отправлено</translation>
    </message>
    <message>
        <source>Battery</source>
        <translation>Батарея</translation>
    </message>
    <message>
        <source>Battery charge</source>
        <translation>Заряд батареи</translation>
    </message>
    <message>
        <source>On mains</source>
        <translation>Питание от сети</translation>
    </message>
    <message>
        <source>Temperature</source>
        <translation>Температура</translation>
    </message>
    <message>
        <source>Processor temperature</source>
        <translation>Температура процессора</translation>
    </message>
    <message>
        <source>°C</source>
        <translation>°C</translation>
    </message>
    <message>
        <source>Disk temperature</source>
        <translation>Температура диска</translation>
    </message>
    <message>
        <source>Microcontroller board</source>
        <translation>Плата с микроконтроллером</translation>
    </message>
    <message>
        <source>Boards at a USB serial port that print a JSON object a line</source>
        <translation>Платы на последовательном порту USB, печатающие по объекту JSON в строке</translation>
    </message>
    <message>
        <source>Serial ports to open</source>
        <translation>Какие последовательные порты открывать</translation>
    </message>
    <message>
        <source>Listed ports, separated by commas</source>
        <translation>Порты из списка, через запятую</translation>
    </message>
    <message>
        <source>Speed in baud</source>
        <translation>Скорость в бодах</translation>
    </message>
    <message>
        <source>How long to wait for the first line</source>
        <translation>Сколько ждать первой строки</translation>
    </message>
</context>
<context>
    <name>RegThingsEditor</name>
    <message>
        <source>No devices are known yet. Devices that were named or registered are remembered here.</source>
        <translation>Известных устройств пока нет. Здесь появятся устройства, получившие имя или прошедшие регистрацию.</translation>
    </message>
    <message>
        <source>&amp;Forget Selected</source>
        <translation>&amp;Забыть выбранные</translation>
    </message>
    <message>
        <source>Known devices</source>
        <translation>Известные устройства</translation>
    </message>
    <message>
        <source>Gateway Registration</source>
        <translation>Регистрация шлюза</translation>
    </message>
    <message>
        <source>The gateway itself is selected. Forgetting it voids the registration of all devices. Proceed?</source>
        <translation>Выбран сам шлюз. Если удалить его из списка, регистрация всех устройств будет сброшена. Продолжить?</translation>
    </message>
    <message>
        <source>%1 and %2 more</source>
        <translation>%1 и ещё %2</translation>
    </message>
    <message>
        <source>Forget Devices</source>
        <translation>Забыть устройства</translation>
    </message>
    <message>
        <source>Registered with the cloud: %1.
A device that is forgotten loses its name and its registration, and the cloud hears nothing of it until it is registered again. Proceed?</source>
        <translation>Зарегистрированы в облаке: %1.
Забытое устройство теряет имя и регистрацию, и облако ничего о нём не узнает, пока оно не зарегистрировано снова. Продолжить?</translation>
    </message>
</context>
<context>
    <name>RegistrationWizard</name>
    <message>
        <source>&amp;Start</source>
        <translation>&amp;Начать</translation>
    </message>
    <message>
        <source>&amp;Copy to Clipboard</source>
        <translation>&amp;Копировать в буфер обмена</translation>
    </message>
    <message>
        <source>&amp;New Session</source>
        <translation>Новый &amp;сеанс</translation>
    </message>
    <message>
        <source>If all things have names, registration process will begin right away. Please be ready to fill in the code from the next window into the corresponding field in the Nimbra Cloud.</source>
        <translation>Если имена есть у всех устройств, регистрация начнётся сразу. Код, который появится на следующем шаге, нужно будет ввести в соответствующее поле в Nimbra Cloud.</translation>
    </message>
    <message>
        <source>Connecting...</source>
        <translation>Подключение…</translation>
    </message>
    <message>
        <source>&amp;Open in browser</source>
        <translation>&amp;Открыть в браузере</translation>
    </message>
    <message>
        <source>Expires in:</source>
        <translation>Осталось секунд:</translation>
    </message>
    <message>
        <source>Registered</source>
        <translation>Зарегистрировано</translation>
    </message>
    <message>
        <source>Querying...</source>
        <translation>Запрос состояния…</translation>
    </message>
    <message>
        <source>Step 2. Connecting to the cloud</source>
        <translation>Шаг 2. Подключение к облаку</translation>
    </message>
    <message>
        <source>Step 4. Finish</source>
        <translation>Шаг 4. Готово</translation>
    </message>
    <message>
        <source>Your registration process is complete</source>
        <translation>Регистрация завершена</translation>
    </message>
    <message>
        <source>Step 1. Fill in the thing names</source>
        <translation>Шаг 1. Задайте имена устройств</translation>
    </message>
    <message>
        <source>The code has expired. Begin a new session for another one.</source>
        <translation>Срок действия кода истёк. Чтобы получить другой код, начните новый сеанс.</translation>
    </message>
    <message>
        <source>Step 3. Enter the code in the cloud</source>
        <translation>Шаг 3. Введите код в облаке</translation>
    </message>
    <message>
        <source>Registration Error</source>
        <translation>Ошибка регистрации</translation>
    </message>
    <message>
        <source>Registation has completed with an error.</source>
        <translation>Регистрация завершилась с ошибкой.</translation>
    </message>
    <message>
        <source>%1 (gateway): %2</source>
        <translation>%1 (шлюз): %2</translation>
    </message>
    <message>
        <source>Code copied to clipboard</source>
        <translation>Код скопирован в буфер обмена</translation>
    </message>
    <message>
        <source>The browser could not be opened</source>
        <translation>Не удалось открыть браузер</translation>
    </message>
    <message>
        <source>C&amp;ancel</source>
        <translation>О&amp;тмена</translation>
    </message>
    <message>
        <source>The cloud sent a code that cannot be used.</source>
        <translation>Облако прислало непригодный код.</translation>
    </message>
    <message>
        <source>&amp;Use These Names</source>
        <translation>&amp;Использовать эти имена</translation>
    </message>
    <message>
        <source>Things without a name</source>
        <translation>Устройства без имени</translation>
    </message>
</context>
<context>
    <name>ReportInterval</name>
    <message>
        <source>3 min</source>
        <translation>3 мин</translation>
    </message>
    <message>
        <source>5 min</source>
        <translation>5 мин</translation>
    </message>
    <message>
        <source>10 min</source>
        <translation>10 мин</translation>
    </message>
    <message>
        <source>15 min</source>
        <translation>15 мин</translation>
    </message>
    <message>
        <source>20 min</source>
        <translation>20 мин</translation>
    </message>
    <message>
        <source>30 min</source>
        <translation>30 мин</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 ч</translation>
    </message>
    <message>
        <source>2 hours</source>
        <translation>2 ч</translation>
    </message>
    <message>
        <source>3 hours</source>
        <translation>3 ч</translation>
    </message>
    <message>
        <source>5 hours</source>
        <translation>5 ч</translation>
    </message>
    <message>
        <source>12 hours</source>
        <translation>12 ч</translation>
    </message>
    <message>
        <source>1 day</source>
        <translation>1 сутки</translation>
    </message>
</context>
<context>
    <name>SettingsPage</name>
    <message>
        <source>Backup files (*.bak)</source>
        <translation>Резервные копии (*.bak)</translation>
    </message>
    <message>
        <source> s</source>
        <translation> с</translation>
    </message>
    <message>
        <source>&amp;Dark theme</source>
        <translation>&amp;Тёмная тема</translation>
    </message>
    <message>
        <source>Start when &amp;I log on</source>
        <translation>Запускать при &amp;входе в систему</translation>
    </message>
    <message>
        <source>&amp;Closing the window leaves the program in the tray</source>
        <translation>При закрытии &amp;окна сворачивать в область уведомлений</translation>
    </message>
    <message>
        <source>Start &amp;hidden in the tray</source>
        <translation>При запуске &amp;сворачивать в область уведомлений</translation>
    </message>
    <message>
        <source>&amp;Look for devices regularly</source>
        <translation>&amp;Регулярно искать устройства</translation>
    </message>
    <message>
        <source> min</source>
        <translation> мин</translation>
    </message>
    <message>
        <source>&amp;Backup…</source>
        <translation>Создать &amp;копию…</translation>
    </message>
    <message>
        <source>L&amp;oad Backup…</source>
        <translation>&amp;Загрузить копию…</translation>
    </message>
    <message>
        <source>Re&amp;vert</source>
        <translation>Отменить &amp;изменения</translation>
    </message>
    <message>
        <source>&amp;Apply</source>
        <translation>&amp;Применить</translation>
    </message>
    <message>
        <source>Cloud</source>
        <translation>Облако</translation>
    </message>
    <message>
        <source>Report interval</source>
        <translation>Интервал отправки данных</translation>
    </message>
    <message>
        <source>Host</source>
        <translation>Сервер</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Порт</translation>
    </message>
    <message>
        <source>Keep-alive</source>
        <translation>Поддержание связи</translation>
    </message>
    <message>
        <source>Interface</source>
        <translation>Интерфейс</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Язык</translation>
    </message>
    <message>
        <source>System</source>
        <translation>Система</translation>
    </message>
    <message>
        <source>Never more often than every 30 seconds</source>
        <translation>Не чаще одного раза в 30 с</translation>
    </message>
    <message>
        <source>Time between two searches</source>
        <translation>Интервал поиска</translation>
    </message>
    <message>
        <source>Backup and log</source>
        <translation>Резервная копия и журнал</translation>
    </message>
    <message>
        <source>Open Log &amp;Folder</source>
        <translation>Открыть папку &amp;журнала</translation>
    </message>
    <message>
        <source>Settings saved</source>
        <translation>Настройки сохранены</translation>
    </message>
    <message>
        <source>Load Backup</source>
        <translation>Загрузка резервной копии</translation>
    </message>
    <message>
        <source>Save As</source>
        <translation>Сохранить как</translation>
    </message>
    <message>
        <source>%1 already exists. Replace it?</source>
        <translation>Файл %1 уже существует. Заменить его?</translation>
    </message>
    <message>
        <source>Backup could not be saved</source>
        <translation>Не удалось сохранить резервную копию</translation>
    </message>
    <message>
        <source>Configuration saved</source>
        <translation>Конфигурация сохранена</translation>
    </message>
    <message>
        <source>Backup</source>
        <translation>Резервная копия</translation>
    </message>
    <message>
        <source>The configuration backup file has been generated. It contains sensitive information, so keep it safe!</source>
        <translation>Создан файл резервной копии конфигурации. Он содержит конфиденциальные данные: храните его в надёжном месте!</translation>
    </message>
    <message>
        <source>Configuration could not be restored.</source>
        <translation>Не удалось восстановить конфигурацию.</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Восстановление</translation>
    </message>
    <message>
        <source>Configuration has been restored from a backup. Restart the application as soon as possible.</source>
        <translation>Конфигурация восстановлена из резервной копии. Перезапустите программу как можно скорее.</translation>
    </message>
    <message>
        <source>The log is in %1</source>
        <translation>Журнал находится в папке %1</translation>
    </message>
    <message>
        <source>Registration: none</source>
        <translation>Регистрация: нет</translation>
    </message>
    <message>
        <source>Registration: the one in use</source>
        <translation>Регистрация: та же, что используется сейчас</translation>
    </message>
    <message>
        <source>Registration: not the one in use</source>
        <translation>Регистрация: не та, что используется сейчас</translation>
    </message>
    <message>
        <source>Credentials: none</source>
        <translation>Сертификат и ключ: нет</translation>
    </message>
    <message>
        <source>Credentials: incomplete</source>
        <translation>Сертификат и ключ: неполные</translation>
    </message>
    <message>
        <source>Credentials: certificate and key</source>
        <translation>Сертификат и ключ: есть</translation>
    </message>
    <message>
        <source>Saved: %1 (date of the file)</source>
        <translation>Сохранено: %1 (дата файла)</translation>
    </message>
    <message>
        <source>Version: %1</source>
        <translation>Версия: %1</translation>
    </message>
    <message>
        <source>Gateway: %1</source>
        <translation>Шлюз: %1</translation>
    </message>
    <message>
        <source>Devices: %1</source>
        <translation>Устройств: %1</translation>
    </message>
    <message>
        <source>This replaces all settings, the names of the devices and the registration. Certificate and key stay as they are. Proceed?</source>
        <translation>Все настройки, имена устройств и регистрация будут заменены. Сертификат и ключ останутся прежними. Продолжить?</translation>
    </message>
    <message>
        <source>This replaces all settings, the names of the devices, the registration and the credentials. Proceed?</source>
        <translation>Все настройки, имена устройств, регистрация, сертификат и ключ будут заменены. Продолжить?</translation>
    </message>
    <message>
        <source>&amp;Keep a history of values for 30 days</source>
        <translation>&amp;Хранить историю значений 30 дней</translation>
    </message>
    <message>
        <source>On this computer only, for the curves of the devices</source>
        <translation>Только на этом компьютере, для графиков устройств</translation>
    </message>
    <message>
        <source>Restart &amp;Now</source>
        <translation>Перезапустить се&amp;йчас</translation>
    </message>
    <message>
        <source>Restore Backup</source>
        <translation>Восстановление из резервной копии</translation>
    </message>
</context>
<context>
    <name>StartupChain</name>
    <message>
        <source>Loading plugins</source>
        <translation>Загрузка модулей</translation>
    </message>
    <message>
        <source>Assembling plugins list</source>
        <translation>Составление списка модулей</translation>
    </message>
    <message>
        <source>Scanning for devices</source>
        <translation>Поиск устройств</translation>
    </message>
    <message>
        <source>Assembling devices list</source>
        <translation>Составление списка устройств</translation>
    </message>
    <message>
        <source>Connecting to the cloud</source>
        <translation>Подключение к облаку</translation>
    </message>
    <message>
        <source>Requesting status</source>
        <translation>Запрос состояния</translation>
    </message>
</context>
<context>
    <name>StatePage</name>
    <message>
        <source>Looking for devices…</source>
        <translation>Идёт поиск устройств…</translation>
    </message>
    <message>
        <source>No devices found yet. Attach a device and press Rescan, or switch on its type under Device settings.</source>
        <translation>Устройства пока не найдены. Подключите устройство и нажмите «Найти устройства» или включите его тип на странице «Настройки устройств».</translation>
    </message>
    <message>
        <source>Show &amp;absent devices</source>
        <translation>Показывать &amp;отсутствующие</translation>
    </message>
    <message>
        <source>Filter (Ctrl+F)</source>
        <translation>Фильтр (Ctrl+F)</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Фильтр</translation>
    </message>
    <message>
        <source>Also list known devices that are not attached now</source>
        <translation>Показывать и известные устройства, которые сейчас не подключены</translation>
    </message>
    <message>
        <source>Details of the selected device</source>
        <translation>Сведения о выбранном устройстве</translation>
    </message>
    <message>
        <source>&amp;Register…</source>
        <translation>&amp;Зарегистрировать…</translation>
    </message>
    <message>
        <source>This gateway is not registered yet</source>
        <translation>Этот шлюз ещё не зарегистрирован</translation>
    </message>
    <message>
        <source>1 device is not registered yet</source>
        <translation>1 устройство ещё не зарегистрировано</translation>
    </message>
    <message numerus="yes">
        <source>%n devices are not registered yet</source>
        <translation>
            <numerusform>%n устройство ещё не зарегистрировано</numerusform>
            <numerusform>%n устройства ещё не зарегистрированы</numerusform>
            <numerusform>%n устройств ещё не зарегистрировано</numerusform>
        </translation>
    </message>
    <message>
        <source>No device matches the filter.</source>
        <translation>Фильтру не соответствует ни одно устройство.</translation>
    </message>
    <message>
        <source>Copy &amp;State</source>
        <translation>Копировать &amp;состояние</translation>
    </message>
    <message>
        <source>Copy &amp;Identifier</source>
        <translation>Копировать и&amp;дентификатор</translation>
    </message>
    <message>
        <source>Show &amp;Window</source>
        <translation>Показать о&amp;кно</translation>
    </message>
    <message>
        <source>&amp;History…</source>
        <translation>&amp;История…</translation>
    </message>
    <message>
        <source>Re&amp;name</source>
        <translation>&amp;Переименовать</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Очистить</translation>
    </message>
</context>
<context>
    <name>StorageNotice</name>
    <message>
        <source>The gateway cannot write %1. Free some space on the disk, or check who may write there. Until then new settings, states that wait for the cloud and the history are lost when the gateway ends.</source>
        <translation>Шлюз не может записать %1. Освободите место на диске или проверьте, кому разрешена запись. До тех пор новые настройки, ожидающие отправки в облако состояния и история пропадут при завершении шлюза.</translation>
    </message>
</context>
<context>
    <name>ThingsRegTableModel</name>
    <message>
        <source>Type</source>
        <translation>Тип</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Версия</translation>
    </message>
    <message>
        <source>Serial</source>
        <translation>Серийный номер</translation>
    </message>
    <message>
        <source>Alias</source>
        <translation>Имя</translation>
    </message>
</context>
<context>
    <name>ThingsStateTableModel</name>
    <message>
        <source>Type</source>
        <translation>Тип</translation>
    </message>
    <message>
        <source>Serial</source>
        <translation>Серийный номер</translation>
    </message>
    <message>
        <source>Alias</source>
        <translation>Имя</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Состояние</translation>
    </message>
    <message>
        <source>Reg. ID</source>
        <translation>Регистрация</translation>
    </message>
    <message>
        <source>No</source>
        <translation>Нет</translation>
    </message>
    <message>
        <source>Yes</source>
        <translation>Есть</translation>
    </message>
</context>
<context>
    <name>TrayIcon</name>
    <message>
        <source>The gateway keeps running here. Click on the icon to open the window; Exit in its menu ends the program.</source>
        <translation>Шлюз продолжает работать здесь. Щёлкните значок, чтобы открыть окно; «Выход» в его меню завершает программу.</translation>
    </message>
</context>
<context>
    <name>UnnamedThings</name>
    <message>
        <source>Type</source>
        <translation>Тип</translation>
    </message>
    <message>
        <source>Serial</source>
        <translation>Серийный номер</translation>
    </message>
    <message>
        <source>Proposed name</source>
        <translation>Предлагаемое имя</translation>
    </message>
</context>
<context>
    <name>UnsavedChanges</name>
    <message>
        <source>Unsaved Changes</source>
        <translation>Несохранённые изменения</translation>
    </message>
    <message>
        <source>The changes on this page are not saved. Save them?</source>
        <translation>Изменения на этой странице не сохранены. Сохранить их?</translation>
    </message>
</context>
<context>
    <name>ZUSettings</name>
    <message>
        <source>Language</source>
        <translation>Язык</translation>
    </message>
    <message>
        <source>Language will be changed when the application is relaunched</source>
        <translation>Язык изменится после перезапуска программы</translation>
    </message>
    <message>
        <source>Theme</source>
        <translation>Тема</translation>
    </message>
    <message>
        <source>Application theme will be changed when the application is relaunched</source>
        <translation>Тема изменится после перезапуска программы</translation>
    </message>
</context>
<context>
    <name>deviceforms</name>
    <message>
        <source>Enabled</source>
        <translation>Включено</translation>
    </message>
</context>
<context>
    <name>dialogs</name>
    <message>
        <source>The settings could not be saved to %1</source>
        <translation>Не удалось сохранить настройки в %1</translation>
    </message>
</context>
<context>
    <name>registrationdocument</name>
    <message>
        <source>Busy with another request</source>
        <translation>Выполняется другой запрос</translation>
    </message>
    <message>
        <source>No new devices to register</source>
        <translation>Нет новых устройств для регистрации</translation>
    </message>
    <message>
        <source>Cannot establish a connection to the registrar service</source>
        <translation>Не удалось подключиться к службе регистрации</translation>
    </message>
    <message>
        <source>Reply processing error</source>
        <translation>Ошибка обработки ответа</translation>
    </message>
    <message>
        <source>Connection to the registrar service was closed unexpectedly.</source>
        <translation>Соединение со службой регистрации неожиданно прервано.</translation>
    </message>
</context>
</TS>
