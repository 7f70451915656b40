<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name></name>
    <message id="card.surface">
        <source>Translation card</source>
        <translation>翻译卡片</translation>
    </message>
    <message id="card.loading">
        <source>Translating…</source>
        <translation>正在翻译…</translation>
    </message>
    <message id="card.pin">
        <source>Pin</source>
        <translation>固定</translation>
    </message>
    <message id="card.unpin">
        <source>Unpin</source>
        <translation>取消固定</translation>
    </message>
    <message id="card.copy">
        <source>Copy translation</source>
        <translation>复制译文</translation>
    </message>
    <message id="card.copied">
        <source>Copied</source>
        <translation>已复制</translation>
    </message>
    <message id="card.pronounce">
        <source>Play pronunciation</source>
        <translation>播放发音</translation>
    </message>
    <message id="card.pronunciationLoading">
        <source>Loading pronunciation</source>
        <translation>正在加载发音</translation>
    </message>
    <message id="card.retry">
        <source>Try again</source>
        <translation>重试</translation>
    </message>
    <message id="card.viewPro">
        <source>View Pro</source>
        <translation>了解 Pro</translation>
    </message>
    <message id="card.paragraph.caption">
        <source>Translation</source>
        <translation>译文</translation>
    </message>
    <message id="card.noWord.title">
        <source>No word found</source>
        <translation>未识别到单词</translation>
    </message>
    <message id="card.noWord.message">
        <source>Point at a word and tap the key again.</source>
        <translation>将指针移到单词上，再轻按一次按键。</translation>
    </message>
    <message id="card.noText.title">
        <source>No text found</source>
        <translation>未识别到文字</translation>
    </message>
    <message id="card.noText.message">
        <source>Select an area that contains text.</source>
        <translation>请框选包含文字的区域。</translation>
    </message>
    <message id="lookup.error.title">
        <source>Couldn’t translate</source>
        <translation>无法翻译</translation>
    </message>
    <message id="lookup.error.quotaTitle">
        <source>Daily limit reached</source>
        <translation>今日次数已用完</translation>
    </message>
    <message id="lookup.error.screenCaptureDenied">
        <source>Trelvis isn’t allowed to read the screen. Allow screen capture and try again.</source>
        <translation>Trelvis 没有读取屏幕的权限。请允许屏幕捕获后重试。</translation>
    </message>
    <message id="lookup.error.captureFailed">
        <source>The screen couldn’t be captured.</source>
        <translation>无法捕获屏幕。</translation>
    </message>
    <message id="lookup.error.captureEmpty">
        <source>The captured area was empty.</source>
        <translation>捕获的区域是空的。</translation>
    </message>
    <message id="lookup.error.networkUnavailable">
        <source>You appear to be offline. Check your connection and try again.</source>
        <translation>网络似乎未连接。请检查网络后重试。</translation>
    </message>
    <message id="lookup.error.timeout">
        <source>The server took too long to answer.</source>
        <translation>服务器响应超时。</translation>
    </message>
    <message id="lookup.error.unauthenticated">
        <source>Your session has ended. Sign in again to keep translating.</source>
        <translation>登录已失效。请重新登录后继续翻译。</translation>
    </message>
    <message id="lookup.error.rateLimited">
        <source>Too many requests at once. Wait a moment and try again.</source>
        <translation>请求过于频繁。请稍候再试。</translation>
    </message>
    <message id="lookup.error.translationQuotaExhausted">
        <source>You’ve used all of today’s free translations.</source>
        <translation>今天的免费翻译次数已用完。</translation>
    </message>
    <message id="lookup.error.serverError">
        <source>The server ran into a problem. Try again in a moment.</source>
        <translation>服务器出现问题。请稍后再试。</translation>
    </message>
    <message id="lookup.error.apiUnavailable">
        <source>The translation service is unavailable right now.</source>
        <translation>翻译服务暂时不可用。</translation>
    </message>
    <message id="lookup.error.ocrFailed">
        <source>No text could be read here.</source>
        <translation>无法识别此处的文字。</translation>
    </message>
    <message id="lookup.error.llmFailed">
        <source>The translation couldn’t be produced.</source>
        <translation>未能生成译文。</translation>
    </message>
    <message id="lookup.error.streamError">
        <source>The translation stopped with an error.</source>
        <translation>翻译因错误中断。</translation>
    </message>
    <message id="lookup.error.streamInterrupted">
        <source>The connection dropped before the translation finished.</source>
        <translation>翻译完成前连接已中断。</translation>
    </message>
    <message id="lookup.error.protocolError">
        <source>The server’s answer couldn’t be understood.</source>
        <translation>无法解析服务器的响应。</translation>
    </message>
    <message id="lookup.error.hotkeyUnavailable">
        <source>The shortcut is taken by another application.</source>
        <translation>该快捷键已被其他应用占用。</translation>
    </message>
    <message id="lookup.error.unknown">
        <source>Something went wrong.</source>
        <translation>出现了未知问题。</translation>
    </message>
    <message id="tray.tooltip">
        <source>Trelvis</source>
        <translation>Trelvis</translation>
    </message>
    <message id="tray.openMainWindow">
        <source>Open Trelvis</source>
        <translation>打开 Trelvis</translation>
    </message>
    <message id="tray.quit">
        <source>Quit Trelvis</source>
        <translation>退出 Trelvis</translation>
    </message>
    <message id="shortcut.key.return">
        <source>Return</source>
        <translation>回车</translation>
    </message>
    <message id="shortcut.key.tab">
        <source>Tab</source>
        <translation>Tab</translation>
    </message>
    <message id="shortcut.key.space">
        <source>Space</source>
        <translation>空格</translation>
    </message>
    <message id="shortcut.key.delete">
        <source>Backspace</source>
        <translation>退格</translation>
    </message>
    <message id="shortcut.key.esc">
        <source>Esc</source>
        <translation>Esc</translation>
    </message>
    <message id="shortcut.key.forwardDelete">
        <source>Delete</source>
        <translation>Delete</translation>
    </message>
    <message id="shortcut.key.code">
        <source>Key %1</source>
        <translation>按键 %1</translation>
    </message>
    <message id="shortcut.unknown">
        <source>Unknown</source>
        <translation>未知</translation>
    </message>
    <message id="shortcut.leftOption">
        <source>Left Alt</source>
        <translation>左 Alt</translation>
    </message>
    <message id="shortcut.rightOption">
        <source>Right Alt</source>
        <translation>右 Alt</translation>
    </message>
    <message id="shortcut.leftControl">
        <source>Left Ctrl</source>
        <translation>左 Ctrl</translation>
    </message>
    <message id="shortcut.rightControl">
        <source>Right Ctrl</source>
        <translation>右 Ctrl</translation>
    </message>
    <message id="shortcut.option">
        <source>Alt</source>
        <translation>Alt</translation>
    </message>
    <message id="shortcut.control">
        <source>Ctrl</source>
        <translation>Ctrl</translation>
    </message>
    <message id="error.shortcut.regionReject">
        <source>The area shortcut must be a single modifier key.</source>
        <translation>框选翻译的快捷键必须是单个修饰键。</translation>
    </message>
    <message id="error.shortcut.conflict">
        <source>The system already uses this shortcut.</source>
        <translation>系统已在使用此快捷键。</translation>
    </message>
    <message id="error.shortcut.invalid">
        <source>Press a key together with at least one modifier key.</source>
        <translation>请同时按下至少一个修饰键和一个按键。</translation>
    </message>
    <message id="error.shortcut.unsupported">
        <source>This shortcut isn’t supported.</source>
        <translation>不支持此快捷键。</translation>
    </message>
    <message id="error.shortcut.unknownModifier">
        <source>This modifier key isn’t supported.</source>
        <translation>不支持此修饰键。</translation>
    </message>
    <message id="error.shortcut.inputRequiresCombo">
        <source>The input panel needs a key combination.</source>
        <translation>输入翻译需要使用组合键。</translation>
    </message>
    <message id="error.shortcut.duplicate">
        <source>Another translation already uses this shortcut.</source>
        <translation>另一种翻译方式已在使用此快捷键。</translation>
    </message>
    <message id="error.shortcut.recordingInProgress">
        <source>A shortcut is already being recorded.</source>
        <translation>正在录制另一个快捷键。</translation>
    </message>
    <message id="error.shortcut.recordingUnavailable">
        <source>Shortcuts can’t be recorded right now.</source>
        <translation>现在无法录制快捷键。</translation>
    </message>
    <message id="error.shortcut.cancelled">
        <source>Recording was cancelled.</source>
        <translation>已取消录制。</translation>
    </message>
    <message id="error.shortcut.unavailable">
        <source>Another application already uses this shortcut.</source>
        <translation>其他应用已占用此快捷键。</translation>
    </message>
    <message id="error.permissionSetup.openSystemSettingsFailed">
        <source>There is no settings page to open for this on Linux. Trelvis needs an X11 session with the XInput and XTEST extensions.</source>
        <translation>Linux 上没有可打开的相应设置页面。Trelvis 需要带有 XInput 和 XTEST 扩展的 X11 会话。</translation>
    </message>
    <message id="error.permissionSetup.permissionNotEnabled">
        <source>This is still not available. Sign in to an X11 session and try again.</source>
        <translation>仍不可用。请登录 X11 会话后重试。</translation>
    </message>
    <message id="permission.setup.accessibility.allowed">
        <source>Keyboard and mouse access is allowed</source>
        <translation>已允许访问键盘和鼠标</translation>
    </message>
    <message id="permission.setup.accessibility.description">
        <source>Lets Trelvis notice the key you tap in any application.</source>
        <translation>让 Trelvis 在任何应用中识别你按下的按键。</translation>
    </message>
    <message id="permission.setup.accessibility.openSettings">
        <source>Turn on keyboard and mouse access</source>
        <translation>开启键盘和鼠标访问</translation>
    </message>
    <message id="permission.setup.accessibility.restart">
        <source>Restart Trelvis to finish</source>
        <translation>重新启动 Trelvis 以完成设置</translation>
    </message>
    <message id="permission.setup.accessibility.title">
        <source>Keyboard and mouse</source>
        <translation>键盘和鼠标</translation>
    </message>
    <message id="permission.setup.action.allowed">
        <source>Allowed</source>
        <translation>已允许</translation>
    </message>
    <message id="permission.setup.action.restartApp">
        <source>Restart Trelvis</source>
        <translation>重新启动 Trelvis</translation>
    </message>
    <message id="permission.setup.action.turnOn">
        <source>Turn On</source>
        <translation>开启</translation>
    </message>
    <message id="permission.setup.hint.needBoth">
        <source>Trelvis needs both to translate what is on your screen.</source>
        <translation>Trelvis 需要以上两项权限才能翻译屏幕上的内容。</translation>
    </message>
    <message id="permission.setup.hint.needOne">
        <source>One more to go before Trelvis can translate.</source>
        <translation>还差一项，Trelvis 即可开始翻译。</translation>
    </message>
    <message id="permission.setup.screenRecording.description">
        <source>Lets Trelvis read the words under the pointer.</source>
        <translation>让 Trelvis 读取指针下方的文字。</translation>
    </message>
    <message id="permission.setup.screenRecording.title">
        <source>Screen reading</source>
        <translation>屏幕读取</translation>
    </message>
    <message id="permission.setup.status.allowed">
        <source>Allowed</source>
        <translation>已允许</translation>
    </message>
    <message id="permission.setup.status.notAllowed">
        <source>Not allowed</source>
        <translation>未允许</translation>
    </message>
    <message id="permission.setup.status.notRequested">
        <source>Not set up yet</source>
        <translation>尚未设置</translation>
    </message>
    <message id="permission.setup.status.restartRequired">
        <source>Restart needed</source>
        <translation>需要重新启动</translation>
    </message>
    <message id="permission.setup.translocated">
        <source>Trelvis is running from a temporary location. Install it, then open it again.</source>
        <translation>Trelvis 正在从临时位置运行。请先安装，然后重新打开。</translation>
    </message>
</context>
</TS>
