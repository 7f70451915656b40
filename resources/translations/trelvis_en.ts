<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="card.surface">
        <source>Translation card</source>
        <translation>Translation card</translation>
    </message>
    <message id="card.loading">
        <source>Translating…</source>
        <translation>Translating…</translation>
    </message>
    <message id="card.pin">
        <source>Pin</source>
        <translation>Pin</translation>
    </message>
    <message id="card.unpin">
        <source>Unpin</source>
        <translation>Unpin</translation>
    </message>
    <message id="card.copy">
        <source>Copy translation</source>
        <translation>Copy translation</translation>
    </message>
    <message id="card.copied">
        <source>Copied</source>
        <translation>Copied</translation>
    </message>
    <message id="card.pronounce">
        <source>Play pronunciation</source>
        <translation>Play pronunciation</translation>
    </message>
    <message id="card.pronunciationLoading">
        <source>Loading pronunciation</source>
        <translation>Loading pronunciation</translation>
    </message>
    <message id="card.retry">
        <source>Try again</source>
        <translation>Try again</translation>
    </message>
    <message id="card.viewPro">
        <source>View Pro</source>
        <translation>View Pro</translation>
    </message>
    <message id="card.paragraph.caption">
        <source>Translation</source>
        <translation>Translation</translation>
    </message>
    <message id="card.noWord.title">
        <source>No word found</source>
        <translation>No word found</translation>
    </message>
    <message id="card.noWord.message">
        <source>Point at a word and tap the key again.</source>
        <translation>Point at a word and tap the key again.</translation>
    </message>
    <message id="card.noText.title">
        <source>No text found</source>
        <translation>No text found</translation>
    </message>
    <message id="card.noText.message">
        <source>Select an area that contains text.</source>
        <translation>Select an area that contains text.</translation>
    </message>
    <message id="lookup.error.title">
        <source>Couldn’t translate</source>
        <translation>Couldn’t translate</translation>
    </message>
    <message id="lookup.error.quotaTitle">
        <source>Daily limit reached</source>
        <translation>Daily limit reached</translation>
    </message>
    <message id="lookup.error.screenCaptureDenied">
        <source>Trelvis isn’t allowed to read the screen. Allow screen capture and try again.</source>
        <translation>Trelvis isn’t allowed to read the screen. Allow screen capture and try again.</translation>
    </message>
    <message id="lookup.error.captureFailed">
        <source>The screen couldn’t be captured.</source>
        <translation>The screen couldn’t be captured.</translation>
    </message>
    <message id="lookup.error.captureEmpty">
        <source>The captured area was empty.</source>
        <translation>The captured area was empty.</translation>
    </message>
    <message id="lookup.error.networkUnavailable">
        <source>You appear to be offline. Check your connection and try again.</source>
        <translation>You appear to be offline. Check your connection and try again.</translation>
    </message>
    <message id="lookup.error.timeout">
        <source>The server took too long to answer.</source>
        <translation>The server took too long to answer.</translation>
    </message>
    <message id="lookup.error.unauthenticated">
        <source>Your session has ended. Sign in again to keep translating.</source>
        <translation>Your session has ended. Sign in again to keep translating.</translation>
    </message>
    <message id="lookup.error.rateLimited">
        <source>Too many requests at once. Wait a moment and try again.</source>
        <translation>Too many requests at once. Wait a moment and try again.</translation>
    </message>
    <message id="lookup.error.translationQuotaExhausted">
        <source>You’ve used all of today’s free translations.</source>
        <translation>You’ve used all of today’s free translations.</translation>
    </message>
    <message id="lookup.error.serverError">
        <source>The server ran into a problem. Try again in a moment.</source>
        <translation>The server ran into a problem. Try again in a moment.</translation>
    </message>
    <message id="lookup.error.apiUnavailable">
        <source>The translation service is unavailable right now.</source>
        <translation>The translation service is unavailable right now.</translation>
    </message>
    <message id="lookup.error.ocrFailed">
        <source>No text could be read here.</source>
        <translation>No text could be read here.</translation>
    </message>
    <message id="lookup.error.llmFailed">
        <source>The translation couldn’t be produced.</source>
        <translation>The translation couldn’t be produced.</translation>
    </message>
    <message id="lookup.error.streamError">
        <source>The translation stopped with an error.</source>
        <translation>The translation stopped with an error.</translation>
    </message>
    <message id="lookup.error.streamInterrupted">
        <source>The connection dropped before the translation finished.</source>
        <translation>The connection dropped before the translation finished.</translation>
    </message>
    <message id="lookup.error.protocolError">
        <source>The server’s answer couldn’t be understood.</source>
        <translation>The server’s answer couldn’t be understood.</translation>
    </message>
    <message id="lookup.error.hotkeyUnavailable">
        <source>The shortcut is taken by another application.</source>
        <translation>The shortcut is taken by another application.</translation>
    </message>
    <message id="lookup.error.unknown">
        <source>Something went wrong.</source>
        <translation>Something went wrong.</translation>
    </message>
    <message id="tray.tooltip">
        <source>Trelvis</source>
        <translation>Trelvis</translation>
    </message>
    <message id="tray.openMainWindow">
        <source>Open Trelvis</source>
        <translation>Open Trelvis</translation>
    </message>
    <message id="tray.openSettings">
        <source>Settings…</source>
        <translation>Settings…</translation>
    </message>
    <message id="tray.quit">
        <source>Quit Trelvis</source>
        <translation>Quit Trelvis</translation>
    </message>
    <message id="shortcut.key.return">
        <source>Return</source>
        <translation>Return</translation>
    </message>
    <message id="shortcut.key.tab">
        <source>Tab</source>
        <translation>Tab</translation>
    </message>
    <message id="shortcut.key.space">
        <source>Space</source>
        <translation>Space</translation>
    </message>
    <message id="shortcut.key.delete">
        <source>Backspace</source>
        <translation>Backspace</translation>
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
        <translation>Key %1</translation>
    </message>
    <message id="shortcut.unknown">
        <source>Unknown</source>
        <translation>Unknown</translation>
    </message>
    <message id="shortcut.leftOption">
        <source>Left Alt</source>
        <translation>Left Alt</translation>
    </message>
    <message id="shortcut.rightOption">
        <source>Right Alt</source>
        <translation>Right Alt</translation>
    </message>
    <message id="shortcut.leftControl">
        <source>Left Ctrl</source>
        <translation>Left Ctrl</translation>
    </message>
    <message id="shortcut.rightControl">
        <source>Right Ctrl</source>
        <translation>Right Ctrl</translation>
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
        <translation>The area shortcut must be a single modifier key.</translation>
    </message>
    <message id="error.shortcut.conflict">
        <source>The system already uses this shortcut.</source>
        <translation>The system already uses this shortcut.</translation>
    </message>
    <message id="error.shortcut.invalid">
        <source>Press a key together with at least one modifier key.</source>
        <translation>Press a key together with at least one modifier key.</translation>
    </message>
    <message id="error.shortcut.unsupported">
        <source>This shortcut isn’t supported.</source>
        <translation>This shortcut isn’t supported.</translation>
    </message>
    <message id="error.shortcut.unknownModifier">
        <source>This modifier key isn’t supported.</source>
        <translation>This modifier key isn’t supported.</translation>
    </message>
    <message id="error.shortcut.inputRequiresCombo">
        <source>The input panel needs a key combination.</source>
        <translation>The input panel needs a key combination.</translation>
    </message>
    <message id="error.shortcut.duplicate">
        <source>Another translation already uses this shortcut.</source>
        <translation>Another translation already uses this shortcut.</translation>
    </message>
    <message id="error.shortcut.recordingInProgress">
        <source>A shortcut is already being recorded.</source>
        <translation>A shortcut is already being recorded.</translation>
    </message>
    <message id="error.shortcut.recordingUnavailable">
        <source>Shortcuts can’t be recorded right now.</source>
        <translation>Shortcuts can’t be recorded right now.</translation>
    </message>
    <message id="error.shortcut.cancelled">
        <source>Recording was cancelled.</source>
        <translation>Recording was cancelled.</translation>
    </message>
    <message id="error.shortcut.unavailable">
        <source>Another application already uses this shortcut.</source>
        <translation>Another application already uses this shortcut.</translation>
    </message>
    <message id="error.permissionSetup.openSystemSettingsFailed">
        <source>There is no settings page to open for this on Linux. Trelvis needs an X11 session with the XInput and XTEST extensions.</source>
        <translation>There is no settings page to open for this on Linux. Trelvis needs an X11 session with the XInput and XTEST extensions.</translation>
    </message>
    <message id="error.permissionSetup.permissionNotEnabled">
        <source>This is still not available. Sign in to an X11 session and try again.</source>
        <translation>This is still not available. Sign in to an X11 session and try again.</translation>
    </message>
    <message id="permission.setup.accessibility.allowed">
        <source>Keyboard and mouse access is allowed</source>
        <translation>Keyboard and mouse access is allowed</translation>
    </message>
    <message id="permission.setup.accessibility.description">
        <source>Lets Trelvis notice the key you tap in any application.</source>
        <translation>Lets Trelvis notice the key you tap in any application.</translation>
    </message>
    <message id="permission.setup.accessibility.openSettings">
        <source>Turn on keyboard and mouse access</source>
        <translation>Turn on keyboard and mouse access</translation>
    </message>
    <message id="permission.setup.accessibility.restart">
        <source>Restart Trelvis to finish</source>
        <translation>Restart Trelvis to finish</translation>
    </message>
    <message id="permission.setup.accessibility.title">
        <source>Keyboard and mouse</source>
        <translation>Keyboard and mouse</translation>
    </message>
    <message id="permission.setup.action.allowed">
        <source>Allowed</source>
        <translation>Allowed</translation>
    </message>
    <message id="permission.setup.action.restartApp">
        <source>Restart Trelvis</source>
        <translation>Restart Trelvis</translation>
    </message>
    <message id="permission.setup.action.turnOn">
        <source>Turn On</source>
        <translation>Turn On</translation>
    </message>
    <message id="permission.setup.hint.needBoth">
        <source>Trelvis needs both to translate what is on your screen.</source>
        <translation>Trelvis needs both to translate what is on your screen.</translation>
    </message>
    <message id="permission.setup.hint.needOne">
        <source>One more to go before Trelvis can translate.</source>
        <translation>One more to go before Trelvis can translate.</translation>
    </message>
    <message id="permission.setup.screenRecording.description">
        <source>Lets Trelvis read the words under the pointer.</source>
        <translation>Lets Trelvis read the words under the pointer.</translation>
    </message>
    <message id="permission.setup.screenRecording.title">
        <source>Screen reading</source>
        <translation>Screen reading</translation>
    </message>
    <message id="permission.setup.status.allowed">
        <source>Allowed</source>
        <translation>Allowed</translation>
    </message>
    <message id="permission.setup.status.notAllowed">
        <source>Not allowed</source>
        <translation>Not allowed</translation>
    </message>
    <message id="permission.setup.status.notRequested">
        <source>Not set up yet</source>
        <translation>Not set up yet</translation>
    </message>
    <message id="permission.setup.status.restartRequired">
        <source>Restart needed</source>
        <translation>Restart needed</translation>
    </message>
    <message id="permission.setup.translocated">
        <source>Trelvis is running from a temporary location. Install it, then open it again.</source>
        <translation>Trelvis is running from a temporary location. Install it, then open it again.</translation>
    </message>
    <message id="mainWindow.tab.home">
        <source>Home</source>
        <translation>Home</translation>
    </message>
    <message id="mainWindow.tab.vocabulary">
        <source>Vocabulary</source>
        <translation>Vocabulary</translation>
    </message>
    <message id="mainWindow.tab.review">
        <source>Review</source>
        <translation>Review</translation>
    </message>
    <message id="mainWindow.tab.settings">
        <source>Settings</source>
        <translation>Settings</translation>
    </message>
    <message id="mainWindow.comingSoon">
        <source>Coming soon</source>
        <translation>Coming soon</translation>
    </message>
    <message id="auth.title.login">
        <source>Sign in to Trelvis</source>
        <translation>Sign in to Trelvis</translation>
    </message>
    <message id="auth.title.registration">
        <source>Create your Trelvis account</source>
        <translation>Create your Trelvis account</translation>
    </message>
    <message id="auth.title.resetPassword">
        <source>Reset your password</source>
        <translation>Reset your password</translation>
    </message>
    <message id="auth.email.label">
        <source>Email</source>
        <translation>Email</translation>
    </message>
    <message id="auth.email.placeholder">
        <source>you@example.com</source>
        <translation>you@example.com</translation>
    </message>
    <message id="auth.code.label">
        <source>Verification code</source>
        <translation>Verification code</translation>
    </message>
    <message id="auth.code.placeholder">
        <source>6 digits</source>
        <translation>6 digits</translation>
    </message>
    <message id="auth.sendCode">
        <source>Send code</source>
        <translation>Send code</translation>
    </message>
    <message id="auth.sendCode.sending">
        <source>Sending…</source>
        <translation>Sending…</translation>
    </message>
    <message id="auth.sendCode.cooldown">
        <source>Resend in %1 s</source>
        <translation>Resend in %1 s</translation>
    </message>
    <message id="auth.password.label">
        <source>Password</source>
        <translation>Password</translation>
    </message>
    <message id="auth.password.new">
        <source>New password</source>
        <translation>New password</translation>
    </message>
    <message id="auth.password.placeholder">
        <source>8 to 128 characters</source>
        <translation>8 to 128 characters</translation>
    </message>
    <message id="auth.submit.login">
        <source>Sign in</source>
        <translation>Sign in</translation>
    </message>
    <message id="auth.submit.registration">
        <source>Create account</source>
        <translation>Create account</translation>
    </message>
    <message id="auth.submit.resetPassword">
        <source>Reset password</source>
        <translation>Reset password</translation>
    </message>
    <message id="auth.submit.busy">
        <source>Please wait…</source>
        <translation>Please wait…</translation>
    </message>
    <message id="auth.switch.toRegistration">
        <source>New to Trelvis? Create an account</source>
        <translation>New to Trelvis? Create an account</translation>
    </message>
    <message id="auth.switch.toLogin">
        <source>Already have an account? Sign in</source>
        <translation>Already have an account? Sign in</translation>
    </message>
    <message id="auth.switch.toResetPassword">
        <source>Forgot your password?</source>
        <translation>Forgot your password?</translation>
    </message>
    <message id="auth.switch.backToLogin">
        <source>Back to sign in</source>
        <translation>Back to sign in</translation>
    </message>
    <message id="auth.validation.emailRequired">
        <source>Enter your email address.</source>
        <translation>Enter your email address.</translation>
    </message>
    <message id="auth.validation.emailFormatInvalid">
        <source>This email address does not look right.</source>
        <translation>This email address does not look right.</translation>
    </message>
    <message id="auth.validation.verificationCodeRequired">
        <source>Enter the code we sent to your email.</source>
        <translation>Enter the code we sent to your email.</translation>
    </message>
    <message id="auth.validation.verificationCodeFormat">
        <source>The code is 6 digits.</source>
        <translation>The code is 6 digits.</translation>
    </message>
    <message id="auth.validation.verificationCodeRejected">
        <source>This code is not right. Check it or ask for a new one.</source>
        <translation>This code is not right. Check it or ask for a new one.</translation>
    </message>
    <message id="auth.validation.passwordLength">
        <source>Use 8 to 128 characters.</source>
        <translation>Use 8 to 128 characters.</translation>
    </message>
    <message id="auth.notice.alreadyRegistered">
        <source>This email already has an account. Sign in instead.</source>
        <translation>This email already has an account. Sign in instead.</translation>
    </message>
    <message id="auth.notice.notRegistered">
        <source>No account uses this email yet. Create one instead.</source>
        <translation>No account uses this email yet. Create one instead.</translation>
    </message>
    <message id="error.auth.verificationCooldown">
        <source>Wait %1 seconds before asking for another code.</source>
        <translation>Wait %1 seconds before asking for another code.</translation>
    </message>
    <message id="error.auth.invalidRequest">
        <source>That was not accepted. Check what you entered.</source>
        <translation>That was not accepted. Check what you entered.</translation>
    </message>
    <message id="error.auth.network">
        <source>Cannot reach Trelvis. Check your connection and try again.</source>
        <translation>Cannot reach Trelvis. Check your connection and try again.</translation>
    </message>
    <message id="error.auth.server">
        <source>Trelvis is having trouble right now. Try again shortly.</source>
        <translation>Trelvis is having trouble right now. Try again shortly.</translation>
    </message>
    <message id="error.auth.keychain">
        <source>Your sign-in could not be saved on this computer.</source>
        <translation>Your sign-in could not be saved on this computer.</translation>
    </message>
    <message id="error.auth.unauthenticated">
        <source>Your session has ended. Sign in again.</source>
        <translation>Your session has ended. Sign in again.</translation>
    </message>
    <message id="error.auth.emailAlreadyRegistered">
        <source>This email already has an account.</source>
        <translation>This email already has an account.</translation>
    </message>
    <message id="error.auth.emailNotRegistered">
        <source>No account uses this email.</source>
        <translation>No account uses this email.</translation>
    </message>
    <message id="error.auth.verificationCodeInvalid">
        <source>This code is not right or has expired.</source>
        <translation>This code is not right or has expired.</translation>
    </message>
    <message id="error.auth.verificationDeliveryFailed">
        <source>The code could not be sent. Try again shortly.</source>
        <translation>The code could not be sent. Try again shortly.</translation>
    </message>
    <message id="error.auth.invalidCredentials">
        <source>The email or password is not right.</source>
        <translation>The email or password is not right.</translation>
    </message>
    <message id="error.auth.invalidResponse">
        <source>Trelvis sent a reply it could not read. Try again.</source>
        <translation>Trelvis sent a reply it could not read. Try again.</translation>
    </message>
    <message id="permission.setup.title">
        <source>Let Trelvis read your screen</source>
        <translation>Let Trelvis read your screen</translation>
    </message>
    <message id="permission.setup.start">
        <source>Start translating</source>
        <translation>Start translating</translation>
    </message>
    <message id="permission.setup.starting">
        <source>Starting…</source>
        <translation>Starting…</translation>
    </message>
    <message id="home.account">
        <source>Signed in as %1</source>
        <translation>Signed in as %1</translation>
    </message>
    <message id="home.signOut">
        <source>Sign out</source>
        <translation>Sign out</translation>
    </message>
    <message id="home.plan">
        <source>Plan: %1</source>
        <translation>Plan: %1</translation>
    </message>
    <message id="home.plan.unknown">
        <source>Loading your plan…</source>
        <translation>Loading your plan…</translation>
    </message>
    <message id="home.quota.used">
        <source>Used this period</source>
        <translation>Used this period</translation>
    </message>
    <message id="home.quota.limit">
        <source>Limit</source>
        <translation>Limit</translation>
    </message>
    <message id="home.quota.unlimited">
        <source>Unlimited</source>
        <translation>Unlimited</translation>
    </message>
    <message id="home.quota.meter">
        <source>%1 of %2 free translations used</source>
        <translation>%1 of %2 free translations used</translation>
    </message>
    <message id="membership.plan.free">
        <source>Free</source>
        <translation>Free</translation>
    </message>
    <message id="membership.plan.pro">
        <source>Pro</source>
        <translation>Pro</translation>
    </message>
    <message id="membership.plan.seed">
        <source>Seed</source>
        <translation>Seed</translation>
    </message>
    <message id="settings.targetLanguage">
        <source>Translate into</source>
        <translation>Translate into</translation>
    </message>
    <message id="settings.appearance">
        <source>Appearance</source>
        <translation>Appearance</translation>
    </message>
    <message id="settings.appearance.light">
        <source>Light</source>
        <translation>Light</translation>
    </message>
    <message id="settings.appearance.dark">
        <source>Dark</source>
        <translation>Dark</translation>
    </message>
    <message id="settings.appLanguage">
        <source>Application language</source>
        <translation>Application language</translation>
    </message>
    <message id="settings.appLanguage.system">
        <source>Same as the system</source>
        <translation>Same as the system</translation>
    </message>
    <message id="session.restoring">
        <source>Signing you in…</source>
        <translation>Signing you in…</translation>
    </message>
    <message id="banner.offline">
        <source>You are offline. Translation resumes when the network returns.</source>
        <translation>You are offline. Translation resumes when the network returns.</translation>
    </message>
    <message id="session.offline">
        <source>You are offline. Trelvis signs you back in when the network returns.</source>
        <translation>You are offline. Trelvis signs you back in when the network returns.</translation>
    </message>
    <message id="session.serviceUnavailable">
        <source>Trelvis cannot be reached right now. It tries again shortly.</source>
        <translation>Trelvis cannot be reached right now. It tries again shortly.</translation>
    </message>
    <message id="session.retry">
        <source>Try again</source>
        <translation>Try again</translation>
    </message>
    <message id="mainWindow.comingSoon.detail">
        <source>This page arrives in a later version of Trelvis.</source>
        <translation>This page arrives in a later version of Trelvis.</translation>
    </message>
    <message id="settings.section.general">
        <source>General</source>
        <translation>General</translation>
    </message>
    <message id="settings.secondaryTargetLanguage">
        <source>Also translate into</source>
        <translation>Also translate into</translation>
    </message>
    <message id="settings.secondaryTargetLanguage.none">
        <source>None</source>
        <translation>None</translation>
    </message>
    <message id="settings.section.pronunciation">
        <source>Pronunciation</source>
        <translation>Pronunciation</translation>
    </message>
    <message id="settings.englishAccent">
        <source>English accent</source>
        <translation>English accent</translation>
    </message>
    <message id="settings.englishAccent.american">
        <source>American</source>
        <translation>American</translation>
    </message>
    <message id="settings.englishAccent.british">
        <source>British</source>
        <translation>British</translation>
    </message>
    <message id="settings.autoplay">
        <source>Play the pronunciation when a word is looked up</source>
        <translation>Play the pronunciation when a word is looked up</translation>
    </message>
    <message id="settings.section.startup">
        <source>Startup</source>
        <translation>Startup</translation>
    </message>
    <message id="settings.launchAtLogin">
        <source>Open Trelvis when you log in</source>
        <translation>Open Trelvis when you log in</translation>
    </message>
    <message id="settings.launchAtLogin.unavailable">
        <source>Trelvis cannot use your desktop’s autostart folder, so it cannot open by itself at login.</source>
        <translation>Trelvis cannot use your desktop’s autostart folder, so it cannot open by itself at login.</translation>
    </message>
    <message id="settings.section.shortcuts">
        <source>Shortcuts</source>
        <translation>Shortcuts</translation>
    </message>
    <message id="settings.shortcut.lookup">
        <source>Look up the word under the pointer</source>
        <translation>Look up the word under the pointer</translation>
    </message>
    <message id="settings.shortcut.regionSelection">
        <source>Translate a region of the screen</source>
        <translation>Translate a region of the screen</translation>
    </message>
    <message id="settings.shortcut.selectTranslate">
        <source>Translate the selected text</source>
        <translation>Translate the selected text</translation>
    </message>
    <message id="settings.shortcut.inputTranslate">
        <source>Type text to translate</source>
        <translation>Type text to translate</translation>
    </message>
    <message id="settings.shortcut.record">
        <source>Record</source>
        <translation>Record</translation>
    </message>
    <message id="settings.shortcut.cancel">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="settings.shortcut.recordFor">
        <source>Record a new shortcut: %1</source>
        <translation>Record a new shortcut: %1</translation>
    </message>
    <message id="settings.shortcut.cancelFor">
        <source>Stop recording: %1</source>
        <translation>Stop recording: %1</translation>
    </message>
    <message id="settings.shortcut.listening">
        <source>Listening…</source>
        <translation>Listening…</translation>
    </message>
    <message id="settings.shortcut.listeningHint">
        <source>Press the new shortcut. Delete restores the default; Esc cancels.</source>
        <translation>Press the new shortcut. Delete restores the default; Esc cancels.</translation>
    </message>
    <message id="settings.section.membership">
        <source>Membership</source>
        <translation>Membership</translation>
    </message>
    <message id="settings.membership.refreshFailed">
        <source>Your plan could not be updated.</source>
        <translation>Your plan could not be updated.</translation>
    </message>
    <message id="settings.membership.retry">
        <source>Update the plan again</source>
        <translation>Update the plan again</translation>
    </message>
    <message id="settings.membership.purchase">
        <source>See plans and pricing</source>
        <translation>See plans and pricing</translation>
    </message>
    <message id="settings.membership.purchaseFailed">
        <source>The pricing page did not open. Check that a web browser is set up.</source>
        <translation>The pricing page did not open. Check that a web browser is set up.</translation>
    </message>
</context>
</TS>
