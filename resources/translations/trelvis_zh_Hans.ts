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
    <message id="tray.openSettings">
        <source>Settings…</source>
        <translation>设置…</translation>
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
    <message id="mainWindow.tab.home">
        <source>Home</source>
        <translation>首页</translation>
    </message>
    <message id="mainWindow.tab.vocabulary">
        <source>Vocabulary</source>
        <translation>词汇</translation>
    </message>
    <message id="mainWindow.tab.review">
        <source>Review</source>
        <translation>复习</translation>
    </message>
    <message id="mainWindow.tab.settings">
        <source>Settings</source>
        <translation>设置</translation>
    </message>
    <message id="mainWindow.comingSoon">
        <source>Coming soon</source>
        <translation>即将推出</translation>
    </message>
    <message id="auth.title.login">
        <source>Sign in to Trelvis</source>
        <translation>登录 Trelvis</translation>
    </message>
    <message id="auth.title.registration">
        <source>Create your Trelvis account</source>
        <translation>创建 Trelvis 账号</translation>
    </message>
    <message id="auth.title.resetPassword">
        <source>Reset your password</source>
        <translation>重置密码</translation>
    </message>
    <message id="auth.email.label">
        <source>Email</source>
        <translation>邮箱</translation>
    </message>
    <message id="auth.email.placeholder">
        <source>you@example.com</source>
        <translation>you@example.com</translation>
    </message>
    <message id="auth.code.label">
        <source>Verification code</source>
        <translation>验证码</translation>
    </message>
    <message id="auth.code.placeholder">
        <source>6 digits</source>
        <translation>6 位数字</translation>
    </message>
    <message id="auth.sendCode">
        <source>Send code</source>
        <translation>发送验证码</translation>
    </message>
    <message id="auth.sendCode.sending">
        <source>Sending…</source>
        <translation>发送中…</translation>
    </message>
    <message id="auth.sendCode.cooldown">
        <source>Resend in %1 s</source>
        <translation>%1 秒后可重发</translation>
    </message>
    <message id="auth.password.label">
        <source>Password</source>
        <translation>密码</translation>
    </message>
    <message id="auth.password.new">
        <source>New password</source>
        <translation>新密码</translation>
    </message>
    <message id="auth.password.placeholder">
        <source>8 to 128 characters</source>
        <translation>8 至 128 个字符</translation>
    </message>
    <message id="auth.submit.login">
        <source>Sign in</source>
        <translation>登录</translation>
    </message>
    <message id="auth.submit.registration">
        <source>Create account</source>
        <translation>创建账号</translation>
    </message>
    <message id="auth.submit.resetPassword">
        <source>Reset password</source>
        <translation>重置密码</translation>
    </message>
    <message id="auth.submit.busy">
        <source>Please wait…</source>
        <translation>请稍候…</translation>
    </message>
    <message id="auth.switch.toRegistration">
        <source>New to Trelvis? Create an account</source>
        <translation>还没有账号？创建账号</translation>
    </message>
    <message id="auth.switch.toLogin">
        <source>Already have an account? Sign in</source>
        <translation>已有账号？直接登录</translation>
    </message>
    <message id="auth.switch.toResetPassword">
        <source>Forgot your password?</source>
        <translation>忘记密码？</translation>
    </message>
    <message id="auth.switch.backToLogin">
        <source>Back to sign in</source>
        <translation>返回登录</translation>
    </message>
    <message id="auth.validation.emailRequired">
        <source>Enter your email address.</source>
        <translation>请输入邮箱地址。</translation>
    </message>
    <message id="auth.validation.emailFormatInvalid">
        <source>This email address does not look right.</source>
        <translation>邮箱地址格式不正确。</translation>
    </message>
    <message id="auth.validation.verificationCodeRequired">
        <source>Enter the code we sent to your email.</source>
        <translation>请输入发送到邮箱的验证码。</translation>
    </message>
    <message id="auth.validation.verificationCodeFormat">
        <source>The code is 6 digits.</source>
        <translation>验证码为 6 位数字。</translation>
    </message>
    <message id="auth.validation.verificationCodeRejected">
        <source>This code is not right. Check it or ask for a new one.</source>
        <translation>验证码不正确，请检查或重新获取。</translation>
    </message>
    <message id="auth.validation.passwordLength">
        <source>Use 8 to 128 characters.</source>
        <translation>密码需为 8 至 128 个字符。</translation>
    </message>
    <message id="auth.notice.alreadyRegistered">
        <source>This email already has an account. Sign in instead.</source>
        <translation>该邮箱已注册，请直接登录。</translation>
    </message>
    <message id="auth.notice.notRegistered">
        <source>No account uses this email yet. Create one instead.</source>
        <translation>该邮箱尚未注册，请先创建账号。</translation>
    </message>
    <message id="error.auth.verificationCooldown">
        <source>Wait %1 seconds before asking for another code.</source>
        <translation>请等待 %1 秒后再获取验证码。</translation>
    </message>
    <message id="error.auth.invalidRequest">
        <source>That was not accepted. Check what you entered.</source>
        <translation>请求未被接受，请检查输入的内容。</translation>
    </message>
    <message id="error.auth.network">
        <source>Cannot reach Trelvis. Check your connection and try again.</source>
        <translation>无法连接 Trelvis，请检查网络后重试。</translation>
    </message>
    <message id="error.auth.server">
        <source>Trelvis is having trouble right now. Try again shortly.</source>
        <translation>Trelvis 服务暂时出现问题，请稍后重试。</translation>
    </message>
    <message id="error.auth.keychain">
        <source>Your sign-in could not be saved on this computer.</source>
        <translation>无法在此电脑上保存登录信息。</translation>
    </message>
    <message id="error.auth.unauthenticated">
        <source>Your session has ended. Sign in again.</source>
        <translation>登录已失效，请重新登录。</translation>
    </message>
    <message id="error.auth.emailAlreadyRegistered">
        <source>This email already has an account.</source>
        <translation>该邮箱已注册。</translation>
    </message>
    <message id="error.auth.emailNotRegistered">
        <source>No account uses this email.</source>
        <translation>该邮箱尚未注册。</translation>
    </message>
    <message id="error.auth.verificationCodeInvalid">
        <source>This code is not right or has expired.</source>
        <translation>验证码不正确或已过期。</translation>
    </message>
    <message id="error.auth.verificationDeliveryFailed">
        <source>The code could not be sent. Try again shortly.</source>
        <translation>验证码发送失败，请稍后重试。</translation>
    </message>
    <message id="error.auth.invalidCredentials">
        <source>The email or password is not right.</source>
        <translation>邮箱或密码不正确。</translation>
    </message>
    <message id="error.auth.invalidResponse">
        <source>Trelvis sent a reply it could not read. Try again.</source>
        <translation>收到无法识别的服务器回复，请重试。</translation>
    </message>
    <message id="permission.setup.title">
        <source>Let Trelvis read your screen</source>
        <translation>允许 Trelvis 读取屏幕内容</translation>
    </message>
    <message id="permission.setup.start">
        <source>Start translating</source>
        <translation>开始翻译</translation>
    </message>
    <message id="permission.setup.starting">
        <source>Starting…</source>
        <translation>正在启动…</translation>
    </message>
    <message id="home.account">
        <source>Signed in as %1</source>
        <translation>当前账号：%1</translation>
    </message>
    <message id="home.signOut">
        <source>Sign out</source>
        <translation>退出登录</translation>
    </message>
    <message id="home.plan">
        <source>Plan: %1</source>
        <translation>套餐：%1</translation>
    </message>
    <message id="home.plan.unknown">
        <source>Loading your plan…</source>
        <translation>正在获取套餐信息…</translation>
    </message>
    <message id="home.quota.used">
        <source>Used this period</source>
        <translation>本期已用</translation>
    </message>
    <message id="home.quota.limit">
        <source>Limit</source>
        <translation>额度</translation>
    </message>
    <message id="home.quota.unlimited">
        <source>Unlimited</source>
        <translation>不限</translation>
    </message>
    <message id="home.quota.meter">
        <source>%1 of %2 free translations used</source>
        <translation>已使用 %1 / %2 次免费翻译</translation>
    </message>
    <message id="membership.plan.free">
        <source>Free</source>
        <translation>免费版</translation>
    </message>
    <message id="membership.plan.pro">
        <source>Pro</source>
        <translation>专业版</translation>
    </message>
    <message id="membership.plan.seed">
        <source>Seed</source>
        <translation>种子版</translation>
    </message>
    <message id="settings.targetLanguage">
        <source>Translate into</source>
        <translation>翻译为</translation>
    </message>
    <message id="settings.appearance">
        <source>Appearance</source>
        <translation>外观</translation>
    </message>
    <message id="settings.appearance.light">
        <source>Light</source>
        <translation>浅色</translation>
    </message>
    <message id="settings.appearance.dark">
        <source>Dark</source>
        <translation>深色</translation>
    </message>
    <message id="settings.appLanguage">
        <source>Application language</source>
        <translation>界面语言</translation>
    </message>
    <message id="settings.appLanguage.system">
        <source>Same as the system</source>
        <translation>跟随系统</translation>
    </message>
    <message id="session.restoring">
        <source>Signing you in…</source>
        <translation>正在登录…</translation>
    </message>
    <message id="banner.offline">
        <source>You are offline. Translation resumes when the network returns.</source>
        <translation>网络已断开，恢复连接后即可继续翻译。</translation>
    </message>
    <message id="session.offline">
        <source>You are offline. Trelvis signs you back in when the network returns.</source>
        <translation>当前处于离线状态，网络恢复后 Trelvis 会自动重新登录。</translation>
    </message>
    <message id="session.serviceUnavailable">
        <source>Trelvis cannot be reached right now. It tries again shortly.</source>
        <translation>暂时无法连接 Trelvis，稍后会自动重试。</translation>
    </message>
    <message id="session.retry">
        <source>Try again</source>
        <translation>重试</translation>
    </message>
    <message id="mainWindow.comingSoon.detail">
        <source>This page arrives in a later version of Trelvis.</source>
        <translation>此页面将在 Trelvis 的后续版本中提供。</translation>
    </message>
    <message id="settings.section.general">
        <source>General</source>
        <translation>通用</translation>
    </message>
    <message id="settings.secondaryTargetLanguage">
        <source>Also translate into</source>
        <translation>同时翻译为</translation>
    </message>
    <message id="settings.secondaryTargetLanguage.none">
        <source>None</source>
        <translation>无</translation>
    </message>
    <message id="settings.section.pronunciation">
        <source>Pronunciation</source>
        <translation>发音</translation>
    </message>
    <message id="settings.englishAccent">
        <source>English accent</source>
        <translation>英语口音</translation>
    </message>
    <message id="settings.englishAccent.american">
        <source>American</source>
        <translation>美式</translation>
    </message>
    <message id="settings.englishAccent.british">
        <source>British</source>
        <translation>英式</translation>
    </message>
    <message id="settings.autoplay">
        <source>Play the pronunciation when a word is looked up</source>
        <translation>查词时自动播放发音</translation>
    </message>
    <message id="settings.section.startup">
        <source>Startup</source>
        <translation>启动</translation>
    </message>
    <message id="settings.launchAtLogin">
        <source>Open Trelvis when you log in</source>
        <translation>登录时打开 Trelvis</translation>
    </message>
    <message id="settings.launchAtLogin.unavailable">
        <source>Trelvis cannot use your desktop’s autostart folder, so it cannot open by itself at login.</source>
        <translation>Trelvis 无法使用桌面的自动启动文件夹，因此无法在登录时自动打开。</translation>
    </message>
    <message id="settings.section.shortcuts">
        <source>Shortcuts</source>
        <translation>快捷键</translation>
    </message>
    <message id="settings.shortcut.lookup">
        <source>Look up the word under the pointer</source>
        <translation>查询指针处的单词</translation>
    </message>
    <message id="settings.shortcut.regionSelection">
        <source>Translate a region of the screen</source>
        <translation>翻译屏幕区域</translation>
    </message>
    <message id="settings.shortcut.selectTranslate">
        <source>Translate the selected text</source>
        <translation>翻译选中的文本</translation>
    </message>
    <message id="settings.shortcut.inputTranslate">
        <source>Type text to translate</source>
        <translation>输入文本翻译</translation>
    </message>
    <message id="settings.shortcut.record">
        <source>Record</source>
        <translation>录制</translation>
    </message>
    <message id="settings.shortcut.cancel">
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message id="settings.shortcut.recordFor">
        <source>Record a new shortcut: %1</source>
        <translation>录制新快捷键：%1</translation>
    </message>
    <message id="settings.shortcut.cancelFor">
        <source>Stop recording: %1</source>
        <translation>停止录制：%1</translation>
    </message>
    <message id="settings.shortcut.listening">
        <source>Listening…</source>
        <translation>正在录制…</translation>
    </message>
    <message id="settings.shortcut.listeningHint">
        <source>Press the new shortcut. Delete restores the default; Esc cancels.</source>
        <translation>请按下新的快捷键。按 Delete 恢复默认，按 Esc 取消。</translation>
    </message>
    <message id="settings.section.membership">
        <source>Membership</source>
        <translation>会员</translation>
    </message>
    <message id="settings.membership.refreshFailed">
        <source>Your plan could not be updated.</source>
        <translation>无法更新你的套餐信息。</translation>
    </message>
    <message id="settings.membership.retry">
        <source>Update the plan again</source>
        <translation>重新获取套餐信息</translation>
    </message>
    <message id="settings.membership.purchase">
        <source>See plans and pricing</source>
        <translation>查看套餐与价格</translation>
    </message>
    <message id="settings.membership.purchaseFailed">
        <source>The pricing page did not open. Check that a web browser is set up.</source>
        <translation>价格页面未能打开。请检查是否已设置网页浏览器。</translation>
    </message>
</context>
</TS>
