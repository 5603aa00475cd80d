// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

export const texts = {
    menu: 'Einstellungen',
    clips: 'Am Computer kopiert',
    compose: 'Zum Computer',
    outbox: 'Unterwegs zum Computer',
    attached: 'Bilder zum Senden',
    box: 'Schreiben, einfügen',
    choose: 'Bild auswählen',
    take: 'Foto aufnehmen',
    filter: 'Text verändern',
    target: 'Wohin',
    send: 'Senden',
    close: 'Schließen',
    asleep:
        'Im Hintergrund legt das Telefon diese Seite schlafen. Sobald Sie sie öffnen, holt sie alles nach.',

    stateConnecting: 'Verbinden …',
    stateConnected: 'Verbunden',
    stateAway: 'Der Abgleich läuft am Computer nicht',
    stateOff: 'Der Abgleich ist am Computer ausgeschaltet',
    stateLost: 'Nicht verbunden. Neuer Versuch …',
    stateUnknown: 'Dem Computer nicht bekannt',
    stateNone: 'Nicht gekoppelt',

    android: 'Android-Telefon',

    startTitle: 'Die Zwischenablage Ihres Computers auf diesem Telefon',
    startText:
        'Öffnen Sie am Computer die Einstellungen von Clipmule Sync, wählen Sie „Telefon über seinen Browser hinzufügen“ und richten Sie die Kamera dieses Telefons auf den Code.',
    spentTitle: 'Dieser Code gilt nicht mehr',
    spentText:
        'Ein Code gilt einmal und zehn Minuten lang. Lassen Sie am Computer einen neuen anzeigen und richten Sie die Kamera dieses Telefons darauf.',
    revokedTitle: 'Am Computer entfernt',
    revokedText:
        'Der Computer teilt seine Zwischenablage nicht mehr mit diesem Browser. Was hier gespeichert war, ist gelöscht. Zum erneuten Hinzufügen scannen Sie einen neuen Code.',
    unknownText:
        'Was unter dieser Adresse antwortet, kennt diesen Browser nicht. Vielleicht wurde er am Computer entfernt, oder die Adresse gehört jetzt einem anderen Computer. Zum erneuten Hinzufügen scannen Sie am Computer einen neuen Code.',
    again: 'Erneut versuchen',
    emptyTitle: 'Bereit',
    emptyText: 'Kopieren Sie etwas auf {computer}, und es erscheint hier.',
    emptyAway: 'Was auf {computer} kopiert wurde, erscheint hier.',
    paired: '{computer} kennt dieses Telefon als „{name}“.',
    rename: 'Namen ändern',
    fine: 'OK',

    kindText: 'Text',
    kindLink: 'Link',
    kindPicture: 'Bild',
    kindOther: 'Etwas anderes',
    otherText: 'Das lässt sich nur an einem Computer verwenden.',
    now: 'gerade eben',
    bytes: '{count} Byte',
    from: 'von {from}',
    fresh: 'Neu',
    arrived: 'Neu: {what}',
    arrivedFrom: 'Neu von {from}: {what}',
    copy: 'Kopieren',
    copied: 'Kopiert',
    copyFailed:
        'Der Browser hat das Kopieren nicht erlaubt. Halten Sie den Text gedrückt, um ihn auszuwählen.',
    copyPicture: 'Bild kopieren',
    load: 'Laden ({size})',
    loading: 'Wird geladen …',
    loadFailed: 'Konnte nicht geladen werden.',
    gone: 'Der Computer hat das nicht mehr.',
    more: 'Alles zeigen',
    less: 'Weniger zeigen',
    open: 'Öffnen',
    save: 'Sichern',
    share: 'Teilen',
    remove: 'Entfernen',
    removeOf: 'Entfernen: {what}',
    pictureFrom: 'Bild von {from}',
    sized: '{what}, {width} × {height}',
    holdPicture:
        'Zum Kopieren halten Sie das Bild gedrückt. Über einfaches HTTP erlauben Browser das keiner Seite.',

    toDesk: 'An {computer}',
    toPhones: 'An die anderen Telefone',
    waiting: 'Wartet auf die Verbindung',
    sending: 'Wird gesendet … {percent} %',
    keptThere: '{computer} bewahrt es auf, bis der Abgleich wieder läuft',
    sent: 'Auf {computer} angekommen',
    sentPhones: 'An die anderen Telefone gesendet',
    noDesk: 'Wartet, bis der Abgleich am Computer läuft',
    off: 'Wartet: Der Abgleich ist am Computer ausgeschaltet',
    tooLarge: 'Zu groß. Höchstens {size}.',
    tooLong: 'Zu lang. Höchstens {count} Zeichen.',
    refusedSend: 'Der Computer hat es nicht angenommen.',
    back: 'Zurück ins Feld',
    notPicture: 'Dieser Browser kann das Bild nicht lesen.',
    notKept:
        'Dieser Browser speichert nichts: Es bleibt nur erhalten, bis Sie die Seite schließen.',
    full: 'Es wartet schon zu viel. Senden oder entfernen Sie zuerst etwas.',
    tooManyPictures: 'Höchstens {count} Bilder auf einmal.',

    filterTitle: 'Text verändern',
    filterChoose:
        'Wählen Sie aus, was geschehen soll. Sie sehen das Ergebnis, bevor Sie es verwenden.',
    filterFailed: 'So lässt sich dieser Text nicht verändern.',
    filterLost: 'Nicht verbunden. Die Arbeit macht der Computer, ohne ihn geht es nicht.',
    preview: 'Ergebnis',
    use: 'Verwenden',

    settingsTitle: 'Einstellungen',
    name: 'Name dieses Telefons',
    nameHint: 'Unter diesem Namen steht das Telefon in der Liste am Computer.',
    saveName: 'Sichern',
    saved: 'Gesichert',
    security: 'Was geschützt ist',
    securitySealed:
        'Alles zwischen dieser Seite und Ihrem Computer ist mit einem Schlüssel versiegelt, den nur die beiden haben. Wer im Netz mithört, liest nichts.',
    securityHttp:
        'Diese Seite kam über einfaches HTTP. Wer verändern kann, was durch Ihr Netz geht, etwa dessen Betreiber, könnte Ihnen eine veränderte Seite schicken, und die könnte alles lesen. Verwenden Sie in Netzen, denen Sie nicht vertrauen, HTTPS; es lässt sich am Computer einrichten.',
    securityHttps: 'Diese Seite kam über HTTPS. Unterwegs konnte sie niemand verändern.',
    sleeping: 'Im Hintergrund',
    sleepingText:
        'Telefone legen Seiten im Hintergrund schlafen. Dann kommt nichts an, und nichts wird gesendet. Beim Öffnen holt die Seite alles nach: Der Computer bewahrt die letzten Inhalte auf.',
    sleepingNone:
        'Telefone legen Seiten im Hintergrund schlafen. Dann kommt nichts an, und nichts wird gesendet. Der Computer ist so eingestellt, dass er nichts aufbewahrt; was inzwischen kopiert wird, kommt hier nicht an.',
    forget: 'Diesen Computer vergessen',
    forgetText:
        'Löscht den Schlüssel und alles andere, was dieser Browser gespeichert hat, und streicht das Telefon aus der Liste am Computer.',
    forgetOffline:
        'Nicht verbunden: Am Computer steht das Telefon weiter in der Liste. Entfernen Sie es auch dort.',
    forgetSure: 'Vergessen',
    cancel: 'Abbrechen',
    forgotten: 'Vergessen. Hier ist nichts mehr gespeichert.'
};
