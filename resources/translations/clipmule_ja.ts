<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja">
<context>
    <name>Clipmule</name>
    <message>
        <source>Clipmule Sync</source>
        <translation>Clipmule Sync</translation>
    </message>
    <message>
        <source>no reason was given</source>
        <translation>理由は示されませんでした</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>アップデートを確認中…</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is available. “Check for Updates…” in the menu installs it.</source>
        <translation>Clipmule Sync %1 が利用可能です。メニューの「アップデートを確認…」でインストールできます。</translation>
    </message>
    <message>
        <source>Clipmule Sync is up to date.</source>
        <translation>Clipmule Sync は最新です。</translation>
    </message>
    <message>
        <source>Clipmule Sync was not installed as a package. Update it the way it was installed.</source>
        <translation>Clipmule Sync はパッケージとしてインストールされていません。インストールしたときと同じ方法でアップデートしてください。</translation>
    </message>
    <message>
        <source>Cannot check for updates: PackageKit is not available.</source>
        <translation>アップデートを確認できません: PackageKit が利用できません。</translation>
    </message>
    <message>
        <source>Could not check for updates: %1</source>
        <translation>アップデートの確認に失敗しました: %1</translation>
    </message>
    <message>
        <source>Installing Clipmule Sync %1…</source>
        <translation>Clipmule Sync %1 をインストール中…</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is installed. It is used from the next start.</source>
        <translation>Clipmule Sync %1 をインストールしました。次回の起動から使われます。</translation>
    </message>
    <message>
        <source>The update could not be installed: %1</source>
        <translation>アップデートをインストールできませんでした: %1</translation>
    </message>
    <message>
        <source>The item you copied is too large to send to Clipmule.</source>
        <translation>コピーした項目は大きすぎるため、Clipmule に送信できません。</translation>
    </message>
    <message>
        <source>Decode HTML Entities</source>
        <translation>HTML エンティティをデコード</translation>
    </message>
    <message>
        <source>Encode HTML Entities</source>
        <translation>HTML エンティティにエンコード</translation>
    </message>
    <message>
        <source>Find</source>
        <translation>検索</translation>
    </message>
    <message>
        <source>Replace</source>
        <translation>置換</translation>
    </message>
    <message>
        <source>Find and Replace</source>
        <translation>検索と置換</translation>
    </message>
    <message>
        <source>Convert to Lowercase</source>
        <translation>小文字に変換</translation>
    </message>
    <message>
        <source>Start Quote</source>
        <translation>開始引用符</translation>
    </message>
    <message>
        <source>End Quote</source>
        <translation>終了引用符</translation>
    </message>
    <message>
        <source>Quote Lines</source>
        <translation>各行を引用符で囲む</translation>
    </message>
    <message>
        <source>Smarten Quotes</source>
        <translation>引用符を整形</translation>
    </message>
    <message>
        <source>Straighten Quotes</source>
        <translation>引用符を直線にする</translation>
    </message>
    <message>
        <source>Convert to Titlecase</source>
        <translation>タイトルケースに変換</translation>
    </message>
    <message>
        <source>Convert to Uppercase</source>
        <translation>大文字に変換</translation>
    </message>
    <message>
        <source>Enter a Tag</source>
        <translation>タグを入力</translation>
    </message>
    <message>
        <source>Wrap in HTML Tags</source>
        <translation>HTML タグで囲む</translation>
    </message>
    <message>
        <source>Clipboard</source>
        <translation>クリップボード</translation>
    </message>
    <message>
        <source>Pasting of mixed content clips is not supported.</source>
        <translation>異なる種類の内容が混在するクリップの貼り付けには対応していません。</translation>
    </message>
    <message>
        <source>Clipmule Sync %1 is available. Do you want to install it?</source>
        <translation>Clipmule Sync %1 が利用可能です。インストールしますか?</translation>
    </message>
    <message>
        <source>Install</source>
        <translation>インストール</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>後で</translation>
    </message>
    <message>
        <source>%d Devices Connected.</source>
        <translation>%d 台のデバイスが接続済み</translation>
    </message>
    <message>
        <source>No Device Registered.</source>
        <translation>登録済みのデバイスはありません</translation>
    </message>
    <message>
        <source>%d Devices Registered.</source>
        <translation>%d 台のデバイスが登録済み</translation>
    </message>
    <message>
        <source>Clipmule Sync Help</source>
        <translation>Clipmule Sync ヘルプ</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>アップデートを確認…</translation>
    </message>
    <message>
        <source>Open Clipmule Sync Preferences…</source>
        <translation>Clipmule Sync の環境設定を開く…</translation>
    </message>
    <message>
        <source>Disable Clipmule Sync</source>
        <translation>Clipmule Sync を無効にする</translation>
    </message>
    <message>
        <source>Enable Clipmule Sync</source>
        <translation>Clipmule Sync を有効にする</translation>
    </message>
    <message>
        <source>Disabled…</source>
        <translation>無効…</translation>
    </message>
    <message>
        <source>Not Connected…</source>
        <translation>未接続…</translation>
    </message>
    <message>
        <source>Transfering Data…</source>
        <translation>データを転送中…</translation>
    </message>
    <message>
        <source>Idle…</source>
        <translation>待機中…</translation>
    </message>
    <message>
        <source>Not sent: the text you copied is too large. It has %2 characters, and at most %3 are sent.</source>
        <translation>送信されませんでした: コピーしたテキストが大きすぎます。%2 文字ありますが、送信できるのは %3 文字までです。</translation>
    </message>
    <message>
        <source>Not sent: what you copied is too large. It has %2 bytes, and at most %3 are sent.</source>
        <translation>送信されませんでした: コピーした内容が大きすぎます。%2 バイトありますが、送信できるのは %3 バイトまでです。</translation>
    </message>
    <message>
        <source>Not sent: what you copied is marked as secret.</source>
        <translation>送信されませんでした: コピーした内容は秘密とされています。</translation>
    </message>
    <message>
        <source>Not sent: there is no text, link or image in what you copied.</source>
        <translation>送信されませんでした: コピーした内容にテキスト、リンク、画像がありません。</translation>
    </message>
    <message>
        <source>Not sent: what you copied could not be read.</source>
        <translation>送信されませんでした: コピーした内容を読み取れませんでした。</translation>
    </message>
    <message>
        <source>Not used: what %1 tells about itself is damaged.</source>
        <translation>使用されませんでした: %1 が自分について伝えた情報が壊れています。</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 is too large. It has %2 bytes, and at most %3 are accepted.</source>
        <translation>ペーストされませんでした: %1 からのクリップが大きすぎます。%2 バイトありますが、受け取れるのは %3 バイトまでです。</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 has both text and images, which cannot be pasted together.</source>
        <translation>ペーストされませんでした: %1 からのクリップにはテキストと画像の両方があり、一緒にはペーストできません。</translation>
    </message>
    <message>
        <source>Not pasted: a newer clip arrived right after the one from %1.</source>
        <translation>ペーストされませんでした: %1 からのクリップの直後に新しいクリップが届きました。</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 could not be put on the clipboard.</source>
        <translation>ペーストされませんでした: %1 からのクリップをクリップボードに入れられませんでした。</translation>
    </message>
    <message>
        <source>Not pasted: the clip from %1 is damaged.</source>
        <translation>ペーストされませんでした: %1 からのクリップが壊れています。</translation>
    </message>
    <message>
        <source>Not sent to %1: it does not take what is sent. %2 bytes are waiting for it, and at most %3 are kept.</source>
        <translation>%1 に送信されませんでした: 受け取られていません。%2 バイトが待機中で、保持できるのは %3 バイトまでです。</translation>
    </message>
    <message>
        <source>Not sent to %1: the clip could not be written.</source>
        <translation>%1 に送信されませんでした: クリップを書き出せませんでした。</translation>
    </message>
    <message>
        <source>(%2 times)</source>
        <translation>（%2 回）</translation>
    </message>
    <message>
        <source>an address has the form HOST:PORT, or [ADDRESS]:PORT for IPv6</source>
        <translation>アドレスは HOST:PORT、IPv6 の場合は [アドレス]:PORT の形で指定してください</translation>
    </message>
    <message>
        <source>the port must be a number from 1 to 65535</source>
        <translation>ポートは 1 から 65535 までの数でなければなりません</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither a host name nor an address</source>
        <translation>「%1」はホスト名でもアドレスでもありません</translation>
    </message>
    <message>
        <source>Not used: what %1 tells about itself is too large: at most %3 bytes are kept.</source>
        <translation>使用されませんでした: %1 が自分について伝えた情報が大きすぎます。保持できるのは %3 バイトまでです。</translation>
    </message>
    <message>
        <source>Not pasted: the sync ended before it was the turn of the clip from %1.</source>
        <translation>ペーストされませんでした: %1 からのクリップの順番が来る前に同期が終わりました。</translation>
    </message>
    <message>
        <source>Paste What a Phone Sends</source>
        <translation>電話から届いたものを貼り付ける</translation>
    </message>
    <message>
        <source>Pastes what arrives from phones</source>
        <translation>スマートフォンから届いたものを貼り付けます</translation>
    </message>
    <message>
        <source>What your phone sent is on the clipboard. Nothing can paste it for you on this desktop: press Ctrl+V.</source>
        <translation>スマートフォンから届いた内容はクリップボードにあります。このデスクトップでは自動で貼り付けられません。Ctrl+V を押してください。</translation>
    </message>
    <message>
        <source>What your phone sent is on the clipboard. On this desktop it is pasted for you into X11 windows only: elsewhere press Ctrl+V.</source>
        <translation>スマートフォンから届いた内容はクリップボードにあります。このデスクトップで自動で貼り付けられるのは X11 のウィンドウだけです。それ以外では Ctrl+V を押してください。</translation>
    </message>
    <message>
        <source>Another version of Clipmule Sync was installed. It is used from the next login.</source>
        <translation>Clipmule Sync の別のバージョンがインストールされました。次回のログインから使用されます。</translation>
    </message>
</context>
<context>
    <name>ClipmuleSync</name>
    <message>
        <source>This computer does not let multicast out (%1).</source>
        <translation>このコンピュータからマルチキャストを送信できません (%1)。</translation>
    </message>
    <message>
        <source>Allow mDNS (UDP port 5353) in the firewall.</source>
        <translation>ファイアウォールで mDNS (UDP ポート 5353) を許可してください。</translation>
    </message>
    <message>
        <source>Other devices answer, but no phone does.</source>
        <translation>ほかのデバイスは応答していますが、スマートフォンは見つかりません。</translation>
    </message>
    <message>
        <source>Dismiss</source>
        <translation>閉じる</translation>
    </message>
    <message>
        <source>Ready to be paired</source>
        <translation>ペアリング可能</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>接続済み</translation>
    </message>
    <message>
        <source>On the network</source>
        <translation>ネットワーク上</translation>
    </message>
    <message>
        <source>Not connected: %1</source>
        <translation>未接続: %1</translation>
    </message>
    <message>
        <source>On the network, not connected</source>
        <translation>ネットワーク上、未接続</translation>
    </message>
    <message>
        <source>Not seen yet</source>
        <translation>未検出</translation>
    </message>
    <message>
        <source>Not on the network, last seen %1</source>
        <translation>ネットワーク上にありません。最終確認: %1</translation>
    </message>
    <message>
        <source>Clipmule Sync Preferences</source>
        <translation>Clipmule Sync 環境設定</translation>
    </message>
    <message>
        <source>&amp;Sync the clipboard with the paired phones</source>
        <translation>ペアリング済みのスマートフォンとクリップボードを同期する(&amp;S)</translation>
    </message>
    <message>
        <source>&amp;Paired phones</source>
        <translation>ペアリング済みのスマートフォン(&amp;P)</translation>
    </message>
    <message>
        <source>No phone is paired yet. Phones that can be paired appear below.</source>
        <translation>ペアリング済みのスマートフォンはまだありません。ペアリングできるスマートフォンは下に表示されます。</translation>
    </message>
    <message>
        <source>Rena&amp;me…</source>
        <translation>名前を変更(&amp;M)…</translation>
    </message>
    <message>
        <source>Phones on this &amp;network</source>
        <translation>このネットワーク上のスマートフォン(&amp;N)</translation>
    </message>
    <message>
        <source>Pairs the selected phone with this computer</source>
        <translation>選択したスマートフォンをこのコンピュータとペアリングします</translation>
    </message>
    <message>
        <source>Start at &amp;login</source>
        <translation>ログイン時に開始する(&amp;L)</translation>
    </message>
    <message>
        <source>Check for &amp;updates automatically</source>
        <translation>アップデートを自動的に確認する(&amp;U)</translation>
    </message>
    <message>
        <source>Sent</source>
        <translation>送信</translation>
    </message>
    <message>
        <source>Received</source>
        <translation>受信</translation>
    </message>
    <message>
        <source>Texts</source>
        <translation>テキスト</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>画像</translation>
    </message>
    <message>
        <source>Clipmule Sync is not running.</source>
        <translation>Clipmule Sync は動作していません。</translation>
    </message>
    <message>
        <source>Syncing is off.</source>
        <translation>同期はオフです。</translation>
    </message>
    <message>
        <source>No phone is connected.</source>
        <translation>接続されているスマートフォンはありません。</translation>
    </message>
    <message>
        <source>Connected to %1.</source>
        <translation>%1 に接続しています。</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>Und&amp;o</source>
        <translation>元に戻す(&amp;O)</translation>
    </message>
    <message>
        <source>Rename Phone</source>
        <translation>スマートフォンの名前を変更</translation>
    </message>
    <message>
        <source>Name of the phone:</source>
        <translation>スマートフォンの名前:</translation>
    </message>
    <message>
        <source>Clipmule Sync could not be started. Is clipmule-sync installed?</source>
        <translation>Clipmule Sync を開始できませんでした。clipmule-sync はインストールされていますか?</translation>
    </message>
    <message>
        <source>today at %1</source>
        <translation>今日の %1</translation>
    </message>
    <message>
        <source>yesterday at %1</source>
        <translation>昨日の %1</translation>
    </message>
    <message>
        <source>Switch it on: sudo ip link set %1 multicast on</source>
        <translation>有効にしてください: sudo ip link set %1 multicast on</translation>
    </message>
    <message>
        <source>The file is too large.</source>
        <translation>ファイルが大きすぎます。</translation>
    </message>
    <message>
        <source>This computer is not on a network.</source>
        <translation>このコンピュータはネットワークに接続されていません。</translation>
    </message>
    <message>
        <source>Connect it to the network that the phone is on.</source>
        <translation>電話と同じネットワークに接続してください。</translation>
    </message>
    <message>
        <source>Multicast is switched off on this computer’s network interface (%1).</source>
        <translation>このコンピュータのネットワークインターフェース (%1) ではマルチキャストがオフになっています。</translation>
    </message>
    <message>
        <source>The Avahi daemon is not running. Phones are searched for without it.</source>
        <translation>Avahi デーモンが動作していません。電話はデーモンなしで検索されます。</translation>
    </message>
    <message>
        <source>If none appears, start it: sudo systemctl enable --now avahi-daemon</source>
        <translation>電話が表示されない場合は起動してください: sudo systemctl enable --now avahi-daemon</translation>
    </message>
    <message>
        <source>Multicast queries get no answer, not even from this computer.</source>
        <translation>マルチキャストの問い合わせに応答がありません。このコンピュータ自身の応答もありません。</translation>
    </message>
    <message>
        <source>No other device on the network answers.</source>
        <translation>ネットワーク上の他の機器から応答がありません。</translation>
    </message>
    <message>
        <source>Make sure that the phone is on the same network. Guest networks often keep devices apart.</source>
        <translation>電話が同じネットワークに接続されていることを確認してください。ゲスト用ネットワークでは機器同士が通信できないことがよくあります。</translation>
    </message>
    <message>
        <source>Make sure that the app is open and that the phone is on the same network.</source>
        <translation>アプリが開いていて、電話が同じネットワークに接続されていることを確認してください。</translation>
    </message>
    <message>
        <source>Pair by Address</source>
        <translation>アドレスでペアリング</translation>
    </message>
    <message>
        <source>Name, as the phone shows it:</source>
        <translation>電話に表示されている名前:</translation>
    </message>
    <message>
        <source>Address and port:</source>
        <translation>アドレスとポート:</translation>
    </message>
    <message>
        <source>Pair</source>
        <translation>ペアリング</translation>
    </message>
    <message>
        <source>The name is too long.</source>
        <translation>名前が長すぎます。</translation>
    </message>
    <message>
        <source>The stored list of phones is damaged. Nothing was changed.</source>
        <translation>保存されている電話のリストが壊れています。変更はされていません。</translation>
    </message>
    <message>
        <source>by hand at %1</source>
        <translation>手動設定 (%1)</translation>
    </message>
    <message>
        <source>S&amp;tart Clipmule Sync</source>
        <translation>Clipmule Sync を起動(&amp;T)</translation>
    </message>
    <message>
        <source>&amp;What this phone sends:</source>
        <translation>この電話から届いたもの(&amp;W):</translation>
    </message>
    <message>
        <source>Paste it</source>
        <translation>貼り付ける</translation>
    </message>
    <message>
        <source>Only put it on the clipboard</source>
        <translation>クリップボードに入れるだけ</translation>
    </message>
    <message>
        <source>Unpai&amp;r</source>
        <translation>ペアリング解除(&amp;R)</translation>
    </message>
    <message>
        <source>Pair by a&amp;ddress…</source>
        <translation>アドレスでペアリング(&amp;D)…</translation>
    </message>
    <message>
        <source>Pairs a phone that this network does not show</source>
        <translation>このネットワークに表示されない電話とペアリングします</translation>
    </message>
    <message>
        <source>P&amp;air</source>
        <translation>ペアリング(&amp;A)</translation>
    </message>
    <message>
        <source>Paste what a phone s&amp;ends</source>
        <translation>電話から届いたものを貼り付ける(&amp;E)</translation>
    </message>
    <message>
        <source>Into the window in front. Otherwise it is only put on the clipboard.</source>
        <translation>手前のウィンドウに貼り付けます。オフの場合はクリップボードに入れるだけです。</translation>
    </message>
    <message>
        <source>Show the &amp;icon in the system tray</source>
        <translation>システムトレイにアイコンを表示(&amp;I)</translation>
    </message>
    <message>
        <source>The autostart entry could not be written: %1</source>
        <translation>自動起動の設定を書き込めませんでした: %1</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>バージョン %1</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>ヘルプ(&amp;H)</translation>
    </message>
    <message>
        <source>Whether Clipmule Sync is running cannot be seen: there is no session bus.</source>
        <translation>セッションバスがないため、Clipmule Sync が動作しているか確認できません。</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but does not answer.</source>
        <translation>Clipmule Sync は動作していますが、応答がありません。</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but has no access to this desktop’s clipboard. It was started without a display; restart it here.</source>
        <translation>Clipmule Sync は動作していますが、このデスクトップのクリップボードを使用できません。ディスプレイなしで起動されました。ここで再起動してください。</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but cannot use this desktop’s clipboard.</source>
        <translation>Clipmule Sync は動作していますが、このデスクトップのクリップボードを使用できません。</translation>
    </message>
    <message>
        <source>“%1” was unpaired.</source>
        <translation>「%1」のペアリングを解除しました。</translation>
    </message>
    <message>
        <source>As with all phones: paste it</source>
        <translation>すべての電話と同じ: 貼り付ける</translation>
    </message>
    <message>
        <source>As with all phones: only put it on the clipboard</source>
        <translation>すべての電話と同じ: クリップボードに入れるだけ</translation>
    </message>
    <message>
        <source>Rename</source>
        <translation>名前を変更</translation>
    </message>
    <message>
        <source>The settings could not be written: %1</source>
        <translation>設定を書き込めませんでした: %1</translation>
    </message>
    <message>
        <source>GNOME shows icons of this kind only with an extension. Install gnome-shell-extension-appindicator, log in again, and switch it on in Extensions.</source>
        <translation>GNOME でこの種のアイコンを表示するには拡張機能が必要です。gnome-shell-extension-appindicator をインストールし、ログインし直してから、「拡張機能」で有効にしてください。</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but this desktop has no clipboard for programs without a window.</source>
        <translation>Clipmule Sync は動作していますが、このデスクトップではウィンドウのないプログラムはクリップボードを使用できません。</translation>
    </message>
    <message>
        <source>Clipmule Sync is running, but this desktop may show it the clipboard only while an X11 window has the focus.</source>
        <translation>Clipmule Sync は動作していますが、このデスクトップでは X11 のウィンドウにフォーカスがある間しかクリップボードを使用できない可能性があります。</translation>
    </message>
    <message>
        <source>Nothing can be pasted for you on this desktop: press Ctrl+V.</source>
        <translation>このデスクトップでは自動で貼り付けられません。Ctrl+V を押してください。</translation>
    </message>
    <message>
        <source>On this desktop, clips are pasted for you into X11 windows only: elsewhere press Ctrl+V.</source>
        <translation>このデスクトップで自動で貼り付けられるのは X11 のウィンドウだけです。それ以外では Ctrl+V を押してください。</translation>
    </message>
    <message>
        <source>%1 phones are paired already.</source>
        <translation>すでに %1 台のスマートフォンがペアリングされています。</translation>
    </message>
    <message>
        <source>On this computer</source>
        <translation>このコンピュータ上</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>未接続</translation>
    </message>
    <message>
        <source>Not running, last seen %1</source>
        <translation>実行されていません。最終確認: %1</translation>
    </message>
    <message>
        <source>QR code with the link</source>
        <translation>リンクの QR コード</translation>
    </message>
    <message>
        <source>Add a Phone by Its Browser</source>
        <translation>ブラウザで電話を追加</translation>
    </message>
    <message>
        <source>Nothing is installed on the phone.
1. Connect the phone to the Wi-Fi of this computer’s network.
2. Point its camera at the code, and open the link that it offers.
3. Give the phone a name on the page that opens.</source>
        <translation>電話には何もインストールしません。
1. 電話を、このコンピュータと同じネットワークの Wi-Fi に接続します。
2. 電話のカメラをコードに向け、表示されたリンクを開きます。
3. 開いたページで、電話に名前を付けます。</translation>
    </message>
    <message>
        <source>Or open this lin&amp;k:</source>
        <translation>または、このリンクを開く(&amp;K):</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>コピー(&amp;C)</translation>
    </message>
    <message>
        <source>New Code</source>
        <translation>新しいコード</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>閉じる</translation>
    </message>
    <message>
        <source>A code is being made…</source>
        <translation>コードを作成しています…</translation>
    </message>
    <message>
        <source>The code lets one browser in, until %1.</source>
        <translation>このコードで接続できるブラウザは 1 つだけです。有効期限は %1 です。</translation>
    </message>
    <message>
        <source>The page is open on a phone. Give the phone a name there.</source>
        <translation>電話でページが開かれました。ページで電話に名前を付けてください。</translation>
    </message>
    <message>
        <source>“%1” is paired. What you copy on this computer appears on its page.</source>
        <translation>「%1」をペアリングしました。このコンピュータでコピーしたものは、電話のページに表示されます。</translation>
    </message>
    <message>
        <source>The phone could not be paired: %1</source>
        <translation>電話をペアリングできませんでした: %1</translation>
    </message>
    <message>
        <source>The code’s ten minutes are over.</source>
        <translation>コードの有効期限 (10 分) が切れました。</translation>
    </message>
    <message>
        <source>A newer code was made elsewhere, which ended this one.</source>
        <translation>別の場所で新しいコードが作成されたため、このコードは無効になりました。</translation>
    </message>
    <message>
        <source>This computer has another address now, so that the link leads nowhere.</source>
        <translation>このコンピュータのアドレスが変わったため、リンクは使えません。</translation>
    </message>
    <message>
        <source>The program that serves the page has ended, and the code with it.</source>
        <translation>ページを提供するプログラムが終了したため、コードも無効になりました。</translation>
    </message>
    <message>
        <source>The page is served by a program of its own, clipmule-web, which is not installed.</source>
        <translation>ページを提供する別のプログラム clipmule-web がインストールされていません。</translation>
    </message>
    <message>
        <source>This computer is in no network that a phone could reach it by. Connect it to one.</source>
        <translation>このコンピュータは、電話から接続できるネットワークにつながっていません。ネットワークに接続してください。</translation>
    </message>
    <message>
        <source>The program that serves the page does not answer.</source>
        <translation>ページを提供するプログラムが応答しません。</translation>
    </message>
    <message>
        <source>The page cannot be served: %1</source>
        <translation>ページを提供できません: %1</translation>
    </message>
    <message>
        <source>The phone can come back as long as the page is served. So that it is served after your next login too, switch it on in the window.</source>
        <translation>電話からページを使えるのは、ページが提供されている間だけです。次回のログイン後も提供するには、ウィンドウで有効にしてください。</translation>
    </message>
    <message>
        <source>A firewall, which has to let TCP port %1 in.</source>
        <translation>ファイアウォール: TCP ポート %1 を許可してください。</translation>
    </message>
    <message>
        <source>A firewall. This lets the phone in: %1</source>
        <translation>ファイアウォール: 次のコマンドで電話からの接続を許可できます: %1</translation>
    </message>
    <message>
        <source>No phone has opened the page yet. What may be in the way:</source>
        <translation>まだどの電話もページを開いていません。考えられる原因:</translation>
    </message>
    <message>
        <source>A guest network, which keeps devices apart: use the ordinary one for both.</source>
        <translation>ゲストネットワーク: 機器同士の通信ができません。両方とも通常のネットワークに接続してください。</translation>
    </message>
    <message>
        <source>Mobile data: switch it off on the phone for a moment, and Wi-Fi on.</source>
        <translation>モバイルデータ通信: 電話で一時的にオフにし、Wi-Fi をオンにしてください。</translation>
    </message>
    <message>
        <source>To find out, open %1 in a browser of this computer, and then on the phone. If it opens here alone, it is one of these.</source>
        <translation>確かめるには、%1 をこのコンピュータのブラウザで開き、次に電話で開きます。このコンピュータでだけ開く場合は、上のいずれかが原因です。</translation>
    </message>
    <message>
        <source>Add a phone by its &amp;browser…</source>
        <translation>ブラウザで電話を追加(&amp;B)…</translation>
    </message>
    <message>
        <source>Shows a code that the camera of any phone reads</source>
        <translation>どの電話のカメラでも読み取れるコードを表示します</translation>
    </message>
    <message>
        <source>Ser&amp;ve the page for browsers at login</source>
        <translation>ログイン時にブラウザ用のページを提供する(&amp;V)</translation>
    </message>
    <message>
        <source>Whether the page is served at login could not be changed: %1</source>
        <translation>ログイン時にページを提供するかどうかを変更できませんでした: %1</translation>
    </message>
    <message>
        <source>Add any phone by its browser: nothing is installed on it.
Or open the app on your phone, on the same network as this computer. The phone appears here.</source>
        <translation>どの電話でも、ブラウザで追加できます。電話には何もインストールしません。
または、このコンピュータと同じネットワークで、電話のアプリを開いてください。電話がここに表示されます。</translation>
    </message>
    <message>
        <source>To pair another phone, add it by its browser, or open the app on it, on the same network as this computer.</source>
        <translation>別の電話をペアリングするには、ブラウザで追加するか、このコンピュータと同じネットワークで電話のアプリを開いてください。</translation>
    </message>
    <message>
        <source>It comes from where Clipmule Sync came from: as the package clipmule-web, or built from the same source.</source>
        <translation>Clipmule Sync と同じ入手先にあります。パッケージ名は clipmule-web です。同じソースコードからビルドすることもできます。</translation>
    </message>
    <message>
        <source>In the folder of the downloaded package: %1</source>
        <translation>ダウンロードしたパッケージのフォルダで: %1</translation>
    </message>
    <message>
        <source>The page cannot be served: another program on this computer has its port.</source>
        <translation>ページを配信できません。このコンピュータのほかのプログラムがポートを使用しています。</translation>
    </message>
    <message>
        <source>End that program, or let the page have a port that is free. In a terminal:
%1</source>
        <translation>そのプログラムを終了するか、空いているポートでページを配信してください。端末で次のように入力します:
%1</translation>
    </message>
</context>
</TS>
