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
</context>
</TS>
