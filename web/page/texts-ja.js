// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

export const texts = {
    menu: '設定',
    clips: 'コンピュータでコピーしたもの',
    compose: 'コンピュータへ',
    outbox: 'コンピュータへ送信中',
    attached: '送信する画像',
    box: '入力またはペースト',
    choose: '画像を選択',
    take: '写真を撮る',
    filter: 'テキストを変換',
    target: '送り先',
    send: '送信',
    close: '閉じる',
    asleep:
        'このページがバックグラウンドにある間、スマートフォンはページを休止させます。開くとすぐに最新の状態になります。',

    stateConnecting: '接続しています…',
    stateConnected: '接続済み',
    stateAway: 'コンピュータで同期が動いていません',
    stateOff: 'コンピュータで同期がオフになっています',
    stateLost: '接続されていません。再接続しています…',
    stateUnknown: 'コンピュータに登録されていません',
    stateNone: 'ペアリングされていません',

    android: 'Android スマートフォン',

    startTitle: 'コンピュータのクリップボードをこのスマートフォンに',
    startText:
        'コンピュータで Clipmule Sync の環境設定を開き、「ブラウザで電話を追加」を選んで、表示されたコードにこのスマートフォンのカメラを向けてください。',
    spentTitle: 'このコードはもう使えません',
    spentText:
        'コードは 1 回だけ、10 分間有効です。コンピュータで新しいコードを表示し、このスマートフォンのカメラを向けてください。',
    revokedTitle: 'コンピュータで削除されました',
    revokedText:
        'コンピュータはこのブラウザとクリップボードを共有しなくなりました。ここに保存されていたデータは削除されました。もう一度追加するには、新しいコードを読み取ってください。',
    unknownText:
        'このアドレスの応答先は、このブラウザを知りません。コンピュータで削除されたか、アドレスが別のコンピュータのものになった可能性があります。もう一度追加するには、コンピュータの新しいコードを読み取ってください。',
    again: '再試行',
    emptyTitle: '準備完了',
    emptyText: '{computer} で何かをコピーすると、ここに表示されます。',
    emptyAway: '{computer} でコピーしたものがここに表示されます。',
    paired: '{computer} でのこのスマートフォンの名前は「{name}」です。',
    rename: '名前を変更',
    fine: 'OK',

    kindText: 'テキスト',
    kindLink: 'リンク',
    kindPicture: '画像',
    kindOther: 'その他',
    otherText: 'これはコンピュータでのみ使用できます。',
    now: 'たった今',
    bytes: '{count} バイト',
    from: '{from} から',
    fresh: '新着',
    arrived: '新着: {what}',
    arrivedFrom: '{from} からの新着: {what}',
    copy: 'コピー',
    copied: 'コピーしました',
    copyFailed: 'ブラウザがコピーを許可しませんでした。テキストを長押しして選択してください。',
    copyPicture: '画像をコピー',
    load: '読み込む ({size})',
    loading: '読み込んでいます…',
    loadFailed: '読み込めませんでした。',
    gone: 'コンピュータにはもうありません。',
    more: 'すべて表示',
    less: '折りたたむ',
    open: '開く',
    save: '保存',
    share: '共有',
    remove: '削除',
    removeOf: '削除: {what}',
    pictureFrom: '{from} からの画像',
    sized: '{what}、{width} × {height}',
    holdPicture:
        '画像をコピーするには長押ししてください。暗号化されていない HTTP では、ブラウザはページにコピーを許可しません。',

    toDesk: '{computer} へ',
    toPhones: 'ほかのスマートフォンへ',
    waiting: '接続を待っています',
    sending: '送信しています… {percent}%',
    keptThere: '同期が再開するまで {computer} が保管します',
    sent: '{computer} に届きました',
    sentPhones: 'ほかのスマートフォンへ送信しました',
    noDesk: 'コンピュータで同期が動くのを待っています',
    off: '待機中: コンピュータで同期がオフになっています',
    tooLarge: '大きすぎます。上限は {size} です。',
    tooLong: '長すぎます。上限は {count} 文字です。',
    refusedSend: 'コンピュータが受け付けませんでした。',
    back: '入力欄に戻す',
    notPicture: 'このブラウザはその画像を読み込めません。',
    notKept: 'このブラウザは保存を許可していません。ページを閉じるまでの間だけ保持されます。',
    full: '待機中のものが多すぎます。先に送信するか削除してください。',
    tooManyPictures: '画像は一度に {count} 枚までです。',

    filterTitle: 'テキストを変換',
    filterChoose: '変換方法を選んでください。使う前に結果を確認できます。',
    filterFailed: 'このテキストはその方法では変換できません。',
    filterLost: '接続されていません。変換はコンピュータが行うため、接続が必要です。',
    preview: '結果',
    use: '使用する',

    settingsTitle: '設定',
    name: 'このスマートフォンの名前',
    nameHint: 'コンピュータの一覧にこの名前で表示されます。',
    saveName: '保存',
    saved: '保存しました',
    security: '保護について',
    securitySealed:
        'このページとコンピュータの間のデータはすべて、両者だけが持つ鍵で封印されます。ネットワークを盗聴しても何も読めません。',
    securityHttp:
        'このページは暗号化されていない HTTP で届きました。ネットワークの管理者など、通信を書き換えられる者は、改変したページを送り込むことができ、そのページはすべてを読めてしまいます。信頼できないネットワークでは、コンピュータで設定できる HTTPS を使ってください。',
    securityHttps: 'このページは HTTPS で届いたため、途中で書き換えることは誰にもできません。',
    sleeping: 'バックグラウンドでは',
    sleepingText:
        'スマートフォンはバックグラウンドのページを休止させます。その間は受信も送信もされません。ページを開くと、コンピュータが保管している最近の内容が届きます。',
    sleepingNone:
        'スマートフォンはバックグラウンドのページを休止させます。その間は受信も送信もされません。コンピュータは内容を保管しない設定のため、その間にコピーされたものは届きません。',
    forget: 'このコンピュータを削除',
    forgetText:
        '鍵と、このブラウザに保存されたすべてのデータを削除し、コンピュータの一覧からこのスマートフォンを外します。',
    forgetOffline:
        '接続されていません。コンピュータの一覧には残るため、そちらでも削除してください。',
    forgetSure: '削除する',
    cancel: 'キャンセル',
    forgotten: '削除しました。ここには何も保存されていません。'
};
