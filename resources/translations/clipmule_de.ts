<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>Clipmule</name>
    <message>
        <source>Clipmule Sync</source>
        <translation>Clipmule Sync</translation>
    </message>
    <message>
        <source>no reason was given</source>
        <translation>ohne Angabe von Gründen</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Suche nach Aktualisierungen…</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is available. “Check for Updates…” in the menu installs it.</source>
        <translation>Clipmule Sync %1 ist verfügbar. „Nach Aktualisierungen suchen…“ im Menü installiert es.</translation>
    </message>
    <message>
        <source>Clipmule Sync is up to date.</source>
        <translation>Clipmule Sync ist aktuell.</translation>
    </message>
    <message>
        <source>Clipmule Sync was not installed as a package. Update it the way it was installed.</source>
        <translation>Clipmule Sync wurde nicht als Paket installiert. Aktualisieren Sie es auf dem Weg, auf dem es installiert wurde.</translation>
    </message>
    <message>
        <source>Cannot check for updates: PackageKit is not available.</source>
        <translation>Es kann nicht nach Aktualisierungen gesucht werden: PackageKit ist nicht verfügbar.</translation>
    </message>
    <message>
        <source>Could not check for updates: %1</source>
        <translation>Die Suche nach Aktualisierungen ist fehlgeschlagen: %1</translation>
    </message>
    <message>
        <source>Installing Clipmule Sync %1…</source>
        <translation>Clipmule Sync %1 wird installiert…</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is installed. It is used from the next start.</source>
        <translation>Clipmule Sync %1 ist installiert. Es wird ab dem nächsten Start verwendet.</translation>
    </message>
    <message>
        <source>The update could not be installed: %1</source>
        <translation>Die Aktualisierung konnte nicht installiert werden: %1</translation>
    </message>
    <message>
        <source>The item you copied is too large to send to Clipmule.</source>
        <translation>Was Sie kopiert haben, ist zu groß, um es an Clipmule zu senden.</translation>
    </message>
    <message>
        <source>Decode HTML Entities</source>
        <translation>HTML-Entitäten dekodieren</translation>
    </message>
    <message>
        <source>Encode HTML Entities</source>
        <translation>HTML-Entitäten kodieren</translation>
    </message>
    <message>
        <source>Find</source>
        <translation>Suchen</translation>
    </message>
    <message>
        <source>Replace</source>
        <translation>Ersetzen</translation>
    </message>
    <message>
        <source>Find and Replace</source>
        <translation>Suchen und Ersetzen</translation>
    </message>
    <message>
        <source>Convert to Lowercase</source>
        <translation>In Kleinbuchstaben umwandeln</translation>
    </message>
    <message>
        <source>Start Quote</source>
        <translation>Anfangszeichen</translation>
    </message>
    <message>
        <source>End Quote</source>
        <translation>Schlusszeichen</translation>
    </message>
    <message>
        <source>Quote Lines</source>
        <translation>Zeilen in Anführungszeichen setzen</translation>
    </message>
    <message>
        <source>Smarten Quotes</source>
        <translation>Typografische Anführungszeichen</translation>
    </message>
    <message>
        <source>Straighten Quotes</source>
        <translation>Gerade Anführungszeichen</translation>
    </message>
    <message>
        <source>Convert to Titlecase</source>
        <translation>Wortanfänge großschreiben</translation>
    </message>
    <message>
        <source>Convert to Uppercase</source>
        <translation>In Großbuchstaben umwandeln</translation>
    </message>
    <message>
        <source>Enter a Tag</source>
        <translation>Ein Tag eingeben</translation>
    </message>
    <message>
        <source>Wrap in HTML Tags</source>
        <translation>Mit HTML-Tags umgeben</translation>
    </message>
    <message>
        <source>Clipboard</source>
        <translation>Zwischenablage</translation>
    </message>
    <message>
        <source>Pasting of mixed content clips is not supported.</source>
        <translation>Clips mit gemischtem Inhalt können nicht eingefügt werden.</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is available. Do you want to install it?</source>
        <translation>Clipmule Sync %1 ist verfügbar. Möchten Sie es installieren?</translation>
    </message>
    <message>
        <source>Install</source>
        <translation>Installieren</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Später</translation>
    </message>
    <message>
        <source>%d Devices Connected.</source>
        <translation>%d Geräte verbunden.</translation>
    </message>
    <message>
        <source>No Device Registered.</source>
        <translation>Kein Gerät registriert.</translation>
    </message>
    <message>
        <source>%d Devices Registered.</source>
        <translation>%d Geräte registriert.</translation>
    </message>
    <message>
        <source>Clipmule Sync Help</source>
        <translation>Hilfe zu Clipmule Sync</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Nach Aktualisierungen suchen…</translation>
    </message>
    <message>
        <source>Open Clipmule Sync Preferences…</source>
        <translation>Einstellungen von Clipmule Sync öffnen…</translation>
    </message>
    <message>
        <source>Disable Clipmule Sync</source>
        <translation>Clipmule Sync ausschalten</translation>
    </message>
    <message>
        <source>Enable Clipmule Sync</source>
        <translation>Clipmule Sync einschalten</translation>
    </message>
    <message>
        <source>Disabled…</source>
        <translation>Ausgeschaltet…</translation>
    </message>
    <message>
        <source>Not Connected…</source>
        <translation>Nicht verbunden…</translation>
    </message>
    <message>
        <source>Transfering Data…</source>
        <translation>Daten werden übertragen…</translation>
    </message>
    <message>
        <source>Idle…</source>
        <translation>Bereit…</translation>
    </message>
    <message>
        <source>Not sent: the text you copied is too large. It has %2 characters, and at most %3 are sent.</source>
        <translation>Nicht gesendet: Der kopierte Text ist zu groß. Er hat %2 Zeichen; höchstens %3 werden gesendet.</translation>
    </message>
    <message>
        <source>Not sent: what you copied is too large. It has %2 bytes, and at most %3 are sent.</source>
        <translation>Nicht gesendet: Das Kopierte ist zu groß. Es hat %2 Bytes, und höchstens %3 werden gesendet.</translation>
    </message>
    <message>
        <source>Not sent: what you copied is marked as secret.</source>
        <translation>Nicht gesendet: Das Kopierte ist als geheim gekennzeichnet.</translation>
    </message>
    <message>
        <source>Not sent: there is no text, link or image in what you copied.</source>
        <translation>Nicht gesendet: Das Kopierte enthält weder Text noch einen Link oder ein Bild.</translation>
    </message>
    <message>
        <source>Not sent: what you copied could not be read.</source>
        <translation>Nicht gesendet: Das Kopierte konnte nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Not used: what %1 tells about itself is damaged.</source>
        <translation>Nicht verwendet: Was %1 über sich mitteilt, ist beschädigt.</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 is too large. It has %2 bytes, and at most %3 are accepted.</source>
        <translation>Nicht eingefügt: Der Clip von %1 ist zu groß. Er hat %2 Bytes, und höchstens %3 werden angenommen.</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 has both text and images, which cannot be pasted together.</source>
        <translation>Nicht eingefügt: Der Clip von %1 enthält Text und Bilder, die nicht zusammen eingefügt werden können.</translation>
    </message>
    <message>
        <source>Not pasted: a newer clip arrived right after the one from %1.</source>
        <translation>Nicht eingefügt: Gleich nach dem Clip von %1 kam ein neuerer.</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 could not be put on the clipboard.</source>
        <translation>Nicht eingefügt: Der Clip von %1 konnte nicht in die Zwischenablage gelegt werden.</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 is damaged.</source>
        <translation>Nicht eingefügt: Der Clip von %1 ist beschädigt.</translation>
    </message>
    <message>
        <source>Not sent to %1: it does not take what is sent. %2 bytes are waiting for it, and at most %3 are kept.</source>
        <translation>Nicht an %1 gesendet: Es nimmt nichts an. %2 Bytes warten darauf, und höchstens %3 werden behalten.</translation>
    </message>
    <message>
        <source>Not sent to %1: the clip could not be written.</source>
        <translation>Nicht an %1 gesendet: Der Clip konnte nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>(%2 times)</source>
        <translation>(%2-mal)</translation>
    </message>
    <message>
        <source>an address has the form HOST:PORT, or [ADDRESS]:PORT for IPv6</source>
        <translation>eine Adresse hat die Form HOST:PORT, bei IPv6 [ADRESSE]:PORT</translation>
    </message>
    <message>
        <source>the port must be a number from 1 to 65535</source>
        <translation>der Port muss eine Zahl von 1 bis 65535 sein</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither a host name nor an address</source>
        <translation>„%1“ ist weder ein Rechnername noch eine Adresse</translation>
    </message>
    <message>
        <source>Not used: what %1 tells about itself is too large: at most %3 bytes are kept.</source>
        <translation>Nicht verwendet: Was %1 über sich mitteilt, ist zu groß: Höchstens %3 Bytes werden behalten.</translation>
    </message>
    <message>
        <source>Not pasted: the sync ended before it was the turn of the clip from %1.</source>
        <translation>Nicht eingefügt: Die Synchronisierung endete, bevor der Clip von %1 an der Reihe war.</translation>
    </message>
    <message>
        <source>Paste What a Phone Sends</source>
        <translation>Einfügen, was ein Telefon sendet</translation>
    </message>
    <message>
        <source>Pastes what arrives from phones</source>
        <translation>Fügt ein, was von Telefonen ankommt</translation>
    </message>
    <message>
        <source>What your phone sent is on the clipboard. Nothing can paste it for you on this desktop: press Ctrl+V.</source>
        <translation>Was Ihr Telefon gesendet hat, liegt in der Zwischenablage. Auf diesem Desktop kann es nicht für Sie eingefügt werden: Drücken Sie Strg+V.</translation>
    </message>
    <message>
        <source>What your phone sent is on the clipboard. On this desktop it is pasted for you into X11 windows only: elsewhere press Ctrl+V.</source>
        <translation>Was Ihr Telefon gesendet hat, liegt in der Zwischenablage. Auf diesem Desktop wird es nur in X11-Fenster für Sie eingefügt: Drücken Sie in anderen Strg+V.</translation>
    </message>
    <message>
        <source>Another version of Clipmule Sync was installed. It is used from the next login.</source>
        <translation>Eine andere Version von Clipmule Sync wurde installiert. Sie wird ab der nächsten Anmeldung verwendet.</translation>
    </message>
</context>
<context>
    <name>ClipmuleSync</name>
    <message>
        <source>This computer does not let multicast out (%1).</source>
        <translation>Dieser Rechner lässt Multicast nicht hinaus (%1).</translation>
    </message>
    <message>
        <source>Allow mDNS (UDP port 5353) in the firewall.</source>
        <translation>Erlauben Sie mDNS (UDP-Port 5353) in der Firewall.</translation>
    </message>
    <message>
        <source>Other devices answer, but no phone does.</source>
        <translation>Andere Geräte antworten, aber kein Telefon.</translation>
    </message>
    <message>
        <source>Dismiss</source>
        <translation>Ausblenden</translation>
    </message>
    <message>
        <source>Ready to be paired</source>
        <translation>Bereit zum Koppeln</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Verbunden</translation>
    </message>
    <message>
        <source>On the network</source>
        <translation>Im Netzwerk</translation>
    </message>
    <message>
        <source>Not connected: %1</source>
        <translation>Nicht verbunden: %1</translation>
    </message>
    <message>
        <source>On the network, not connected</source>
        <translation>Im Netzwerk, nicht verbunden</translation>
    </message>
    <message>
        <source>Not seen yet</source>
        <translation>Noch nicht gesehen</translation>
    </message>
    <message>
        <source>Not on the network, last seen %1</source>
        <translation>Nicht im Netzwerk, zuletzt gesehen %1</translation>
    </message>
    <message>
        <source>Clipmule Sync Preferences</source>
        <translation>Einstellungen von Clipmule Sync</translation>
    </message>
    <message>
        <source>&amp;Sync the clipboard with the paired phones</source>
        <translation>Zwischenablage mit den gekoppelten Telefonen &amp;synchronisieren</translation>
    </message>
    <message>
        <source>&amp;Paired phones</source>
        <translation>Ge&amp;koppelte Telefone</translation>
    </message>
    <message>
        <source>No phone is paired yet. Phones that can be paired appear below.</source>
        <translation>Noch ist kein Telefon gekoppelt. Telefone, die gekoppelt werden können, erscheinen unten.</translation>
    </message>
    <message>
        <source>Rena&amp;me…</source>
        <translation>U&amp;mbenennen…</translation>
    </message>
    <message>
        <source>Phones on this &amp;network</source>
        <translation>Telefone in diesem &amp;Netzwerk</translation>
    </message>
    <message>
        <source>Pairs the selected phone with this computer</source>
        <translation>Koppelt das ausgewählte Telefon mit diesem Rechner</translation>
    </message>
    <message>
        <source>Start at &amp;login</source>
        <translation>Bei der Anme&amp;ldung starten</translation>
    </message>
    <message>
        <source>Check for &amp;updates automatically</source>
        <translation>A&amp;utomatisch nach Aktualisierungen suchen</translation>
    </message>
    <message>
        <source>Sent</source>
        <translation>Gesendet</translation>
    </message>
    <message>
        <source>Received</source>
        <translation>Empfangen</translation>
    </message>
    <message>
        <source>Texts</source>
        <translation>Texte</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Clipmule Sync is not running.</source>
        <translation>Clipmule Sync läuft nicht.</translation>
    </message>
    <message>
        <source>Syncing is off.</source>
        <translation>Die Synchronisierung ist ausgeschaltet.</translation>
    </message>
    <message>
        <source>No phone is connected.</source>
        <translation>Kein Telefon ist verbunden.</translation>
    </message>
    <message>
        <source>Connected to %1.</source>
        <translation>Verbunden mit %1.</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>Und&amp;o</source>
        <translation>Rückgän&amp;gig</translation>
    </message>
    <message>
        <source>Rename Phone</source>
        <translation>Telefon umbenennen</translation>
    </message>
    <message>
        <source>Name of the phone:</source>
        <translation>Name des Telefons:</translation>
    </message>
    <message>
        <source>Clipmule Sync could not be started. Is clipmule-sync installed?</source>
        <translation>Clipmule Sync konnte nicht gestartet werden. Ist clipmule-sync installiert?</translation>
    </message>
    <message>
        <source>today at %1</source>
        <translation>heute um %1</translation>
    </message>
    <message>
        <source>yesterday at %1</source>
        <translation>gestern um %1</translation>
    </message>
    <message>
        <source>Switch it on: sudo ip link set %1 multicast on</source>
        <translation>Schalten Sie es ein: sudo ip link set %1 multicast on</translation>
    </message>
    <message>
        <source>The file is too large.</source>
        <translation>Die Datei ist zu groß.</translation>
    </message>
    <message>
        <source>This computer is not on a network.</source>
        <translation>Dieser Rechner ist in keinem Netzwerk.</translation>
    </message>
    <message>
        <source>Connect it to the network that the phone is on.</source>
        <translation>Verbinden Sie ihn mit dem Netzwerk des Telefons.</translation>
    </message>
    <message>
        <source>Multicast is switched off on this computer’s network interface (%1).</source>
        <translation>Auf der Netzwerkschnittstelle dieses Rechners (%1) ist Multicast ausgeschaltet.</translation>
    </message>
    <message>
        <source>The Avahi daemon is not running. Phones are searched for without it.</source>
        <translation>Der Avahi-Dienst läuft nicht. Telefone werden ohne ihn gesucht.</translation>
    </message>
    <message>
        <source>If none appears, start it: sudo systemctl enable --now avahi-daemon</source>
        <translation>Erscheint keines, starten Sie ihn: sudo systemctl enable --now avahi-daemon</translation>
    </message>
    <message>
        <source>Multicast queries get no answer, not even from this computer.</source>
        <translation>Auf Multicast-Anfragen kommt keine Antwort, nicht einmal von diesem Rechner.</translation>
    </message>
    <message>
        <source>No other device on the network answers.</source>
        <translation>Kein anderes Gerät im Netzwerk antwortet.</translation>
    </message>
    <message>
        <source>Make sure that the phone is on the same network. Guest networks often keep devices apart.</source>
        <translation>Achten Sie darauf, dass das Telefon im selben Netzwerk ist. Gastnetze trennen Geräte oft voneinander.</translation>
    </message>
    <message>
        <source>Make sure that the app is open and that the phone is on the same network.</source>
        <translation>Achten Sie darauf, dass die App geöffnet und das Telefon im selben Netzwerk ist.</translation>
    </message>
    <message>
        <source>Pair by Address</source>
        <translation>Über Adresse koppeln</translation>
    </message>
    <message>
        <source>Name, as the phone shows it:</source>
        <translation>Name, wie ihn das Telefon zeigt:</translation>
    </message>
    <message>
        <source>Address and port:</source>
        <translation>Adresse und Port:</translation>
    </message>
    <message>
        <source>Pair</source>
        <translation>Koppeln</translation>
    </message>
    <message>
        <source>The name is too long.</source>
        <translation>Der Name ist zu lang.</translation>
    </message>
    <message>
        <source>The stored list of phones is damaged. Nothing was changed.</source>
        <translation>Die gespeicherte Telefonliste ist beschädigt. Nichts wurde geändert.</translation>
    </message>
    <message>
        <source>by hand at %1</source>
        <translation>von Hand unter %1</translation>
    </message>
    <message>
        <source>S&amp;tart Clipmule Sync</source>
        <translation>Clipmule Sync s&amp;tarten</translation>
    </message>
    <message>
        <source>&amp;What this phone sends:</source>
        <translation>&amp;Was dieses Telefon sendet:</translation>
    </message>
    <message>
        <source>Paste it</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Only put it on the clipboard</source>
        <translation>Nur in die Zwischenablage legen</translation>
    </message>
    <message>
        <source>Unpai&amp;r</source>
        <translation>Entko&amp;ppeln</translation>
    </message>
    <message>
        <source>Pair by a&amp;ddress…</source>
        <translation>Über A&amp;dresse koppeln…</translation>
    </message>
    <message>
        <source>Pairs a phone that this network does not show</source>
        <translation>Koppelt ein Telefon, das dieses Netzwerk nicht zeigt</translation>
    </message>
    <message>
        <source>P&amp;air</source>
        <translation>K&amp;oppeln</translation>
    </message>
    <message>
        <source>Paste what a phone s&amp;ends</source>
        <translation>&amp;Einfügen, was ein Telefon sendet</translation>
    </message>
    <message>
        <source>Into the window in front. Otherwise it is only put on the clipboard.</source>
        <translation>In das vorderste Fenster. Sonst wird es nur in die Zwischenablage gelegt.</translation>
    </message>
    <message>
        <source>Show the &amp;icon in the system tray</source>
        <translation>Symbol &amp;im Infobereich anzeigen</translation>
    </message>
    <message>
        <source>The autostart entry could not be written: %1</source>
        <translation>Der Autostart-Eintrag konnte nicht geschrieben werden: %1</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>Whether Clipmule Sync is running cannot be seen: there is no session bus.</source>
        <translation>Ob Clipmule Sync läuft, ist nicht zu sehen: Es gibt keinen Sitzungsbus.</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but does not answer.</source>
        <translation>Clipmule Sync läuft, antwortet aber nicht.</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but has no access to this desktop’s clipboard. It was started without a display; restart it here.</source>
        <translation>Clipmule Sync läuft, hat aber keinen Zugang zur Zwischenablage dieses Desktops. Es wurde ohne Bildschirm gestartet; starten Sie es hier neu.</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but cannot use this desktop’s clipboard.</source>
        <translation>Clipmule Sync läuft, kann aber die Zwischenablage dieses Desktops nicht verwenden.</translation>
    </message>
    <message>
        <source>“%1” was unpaired.</source>
        <translation>„%1“ wurde entkoppelt.</translation>
    </message>
    <message>
        <source>As with all phones: paste it</source>
        <translation>Wie bei allen Telefonen: einfügen</translation>
    </message>
    <message>
        <source>As with all phones: only put it on the clipboard</source>
        <translation>Wie bei allen Telefonen: nur in die Zwischenablage legen</translation>
    </message>
    <message>
        <source>Rename</source>
        <translation>Umbenennen</translation>
    </message>
    <message>
        <source>The settings could not be written: %1</source>
        <translation>Die Einstellungen konnten nicht geschrieben werden: %1</translation>
    </message>
    <message>
        <source>GNOME shows icons of this kind only with an extension. Install gnome-shell-extension-appindicator, log in again, and switch it on in Extensions.</source>
        <translation>GNOME zeigt solche Symbole nur mit einer Erweiterung. Installieren Sie gnome-shell-extension-appindicator, melden Sie sich neu an und schalten Sie sie unter „Erweiterungen“ ein.</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but this desktop has no clipboard for programs without a window.</source>
        <translation>Clipmule Sync läuft, aber dieser Desktop hat keine Zwischenablage für Programme ohne Fenster.</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but this desktop may show it the clipboard only while an X11 window has the focus.</source>
        <translation>Clipmule Sync läuft, aber dieser Desktop zeigt ihm die Zwischenablage möglicherweise nur, solange ein X11-Fenster den Fokus hat.</translation>
    </message>
    <message>
        <source>Nothing can be pasted for you on this desktop: press Ctrl+V.</source>
        <translation>Auf diesem Desktop kann nichts für Sie eingefügt werden: Drücken Sie Strg+V.</translation>
    </message>
    <message>
        <source>On this desktop, clips are pasted for you into X11 windows only: elsewhere press Ctrl+V.</source>
        <translation>Auf diesem Desktop wird nur in X11-Fenster für Sie eingefügt: Drücken Sie in anderen Strg+V.</translation>
    </message>
    <message>
        <source>%1 phones are paired already.</source>
        <translation>%1 Telefone sind bereits gekoppelt.</translation>
    </message>
    <message>
        <source>On this computer</source>
        <translation>Auf diesem Computer</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Nicht verbunden</translation>
    </message>
    <message>
        <source>Not running, last seen %1</source>
        <translation>Läuft nicht, zuletzt gesehen %1</translation>
    </message>
    <message>
        <source>QR code with the link</source>
        <translation>QR-Code mit dem Link</translation>
    </message>
    <message>
        <source>Add a Phone by Its Browser</source>
        <translation>Telefon über seinen Browser hinzufügen</translation>
    </message>
    <message>
        <source>Nothing is installed on the phone.
1. Connect the phone to the Wi-Fi of this computer’s network.
2. Point its camera at the code, and open the link that it offers.
3. Give the phone a name on the page that opens.</source>
        <translation>Auf dem Telefon wird nichts installiert.
1. Verbinden Sie das Telefon mit dem WLAN im Netzwerk dieses Rechners.
2. Richten Sie seine Kamera auf den Code, und öffnen Sie den Link, den sie anbietet.
3. Geben Sie dem Telefon auf der Seite, die sich öffnet, einen Namen.</translation>
    </message>
    <message>
        <source>Or open this lin&amp;k:</source>
        <translation>Oder diesen Link ö&amp;ffnen:</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>Kopie&amp;ren</translation>
    </message>
    <message>
        <source>New Code</source>
        <translation>Neuer Code</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>A code is being made…</source>
        <translation>Ein Code wird erzeugt…</translation>
    </message>
    <message>
        <source>The code lets one browser in, until %1.</source>
        <translation>Der Code lässt einen einzigen Browser herein, und zwar bis %1 Uhr.</translation>
    </message>
    <message>
        <source>The page is open on a phone. Give the phone a name there.</source>
        <translation>Die Seite ist auf einem Telefon geöffnet. Geben Sie ihm dort einen Namen.</translation>
    </message>
    <message>
        <source>“%1” is paired. What you copy on this computer appears on its page.</source>
        <translation>„%1“ ist gekoppelt. Was Sie auf diesem Rechner kopieren, erscheint auf seiner Seite.</translation>
    </message>
    <message>
        <source>The phone could not be paired: %1</source>
        <translation>Das Telefon konnte nicht gekoppelt werden: %1</translation>
    </message>
    <message>
        <source>The code’s ten minutes are over.</source>
        <translation>Die zehn Minuten des Codes sind abgelaufen.</translation>
    </message>
    <message>
        <source>A newer code was made elsewhere, which ended this one.</source>
        <translation>Anderswo wurde ein neuerer Code erzeugt; dieser gilt nicht mehr.</translation>
    </message>
    <message>
        <source>This computer has another address now, so that the link leads nowhere.</source>
        <translation>Dieser Rechner hat jetzt eine andere Adresse; der Link führt ins Leere.</translation>
    </message>
    <message>
        <source>The program that serves the page has ended, and the code with it.</source>
        <translation>Das Programm, das die Seite anbietet, wurde beendet, und mit ihm der Code.</translation>
    </message>
    <message>
        <source>The page is served by a program of its own, clipmule-web, which is not installed.</source>
        <translation>Die Seite wird von einem eigenen Programm angeboten, clipmule-web, das nicht installiert ist.</translation>
    </message>
    <message>
        <source>This computer is in no network that a phone could reach it by. Connect it to one.</source>
        <translation>Dieser Rechner ist in keinem Netzwerk, über das ihn ein Telefon erreichen könnte. Verbinden Sie ihn mit einem.</translation>
    </message>
    <message>
        <source>The program that serves the page does not answer.</source>
        <translation>Das Programm, das die Seite anbietet, antwortet nicht.</translation>
    </message>
    <message>
        <source>The page cannot be served: %1</source>
        <translation>Die Seite kann nicht angeboten werden: %1</translation>
    </message>
    <message>
        <source>The phone can come back as long as the page is served. So that it is served after your next login too, switch it on in the window.</source>
        <translation>Das Telefon erreicht die Seite, solange sie angeboten wird. Damit das auch nach der nächsten Anmeldung so ist, schalten Sie es im Fenster ein.</translation>
    </message>
    <message>
        <source>A firewall, which has to let TCP port %1 in.</source>
        <translation>Eine Firewall: Sie muss den TCP-Port %1 hereinlassen.</translation>
    </message>
    <message>
        <source>A firewall. This lets the phone in: %1</source>
        <translation>Eine Firewall. Das lässt das Telefon herein: %1</translation>
    </message>
    <message>
        <source>No phone has opened the page yet. What may be in the way:</source>
        <translation>Noch hat kein Telefon die Seite geöffnet. Was im Weg sein kann:</translation>
    </message>
    <message>
        <source>A guest network, which keeps devices apart: use the ordinary one for both.</source>
        <translation>Ein Gastnetz, das Geräte voneinander trennt: Nehmen Sie für beide das normale.</translation>
    </message>
    <message>
        <source>Mobile data: switch it off on the phone for a moment, and Wi-Fi on.</source>
        <translation>Mobile Daten: Schalten Sie sie auf dem Telefon kurz aus, und WLAN ein.</translation>
    </message>
    <message>
        <source>To find out, open %1 in a browser of this computer, and then on the phone. If it opens here alone, it is one of these.</source>
        <translation>Um es herauszufinden, öffnen Sie %1 in einem Browser dieses Rechners und dann auf dem Telefon. Öffnet sich die Seite nur hier, ist es eines davon.</translation>
    </message>
    <message>
        <source>Add a phone by its &amp;browser…</source>
        <translation>Telefon über seinen &amp;Browser hinzufügen…</translation>
    </message>
    <message>
        <source>Shows a code that the camera of any phone reads</source>
        <translation>Zeigt einen Code, den die Kamera jedes Telefons liest</translation>
    </message>
    <message>
        <source>Ser&amp;ve the page for browsers at login</source>
        <translation>Seite für Browser bei der Anmeldung &amp;anbieten</translation>
    </message>
    <message>
        <source>Whether the page is served at login could not be changed: %1</source>
        <translation>Ob die Seite bei der Anmeldung angeboten wird, konnte nicht geändert werden: %1</translation>
    </message>
    <message>
        <source>Add any phone by its browser: nothing is installed on it.
Or open the app on your phone, on the same network as this computer. The phone appears here.</source>
        <translation>Fügen Sie ein beliebiges Telefon über seinen Browser hinzu: Es wird nichts darauf installiert.
Oder öffnen Sie die App auf dem Telefon, im selben Netzwerk wie dieser Rechner. Das Telefon erscheint dann hier.</translation>
    </message>
    <message>
        <source>To pair another phone, add it by its browser, or open the app on it, on the same network as this computer.</source>
        <translation>Um ein weiteres Telefon zu koppeln, fügen Sie es über seinen Browser hinzu, oder öffnen Sie dort die App, im selben Netzwerk wie dieser Rechner.</translation>
    </message>
    <message>
        <source>It comes from where Clipmule Sync came from: as the package clipmule-web, or built from the same source.</source>
        <translation>Es kommt von dort, woher Clipmule Sync kam: als Paket clipmule-web oder aus demselben Quelltext gebaut.</translation>
    </message>
    <message>
        <source>In the folder of the downloaded package: %1</source>
        <translation>Im Ordner des heruntergeladenen Pakets: %1</translation>
    </message>
    <message>
        <source>The page cannot be served: another program on this computer has its port.</source>
        <translation>Die Seite kann nicht angeboten werden: Ein anderes Programm auf diesem Rechner hat ihren Port.</translation>
    </message>
    <message>
        <source>End that program, or let the page have a port that is free. In a terminal:
%1</source>
        <translation>Beenden Sie jenes Programm, oder geben Sie der Seite einen freien Port. In einem Terminal:
%1</translation>
    </message>
</context>
</TS>
