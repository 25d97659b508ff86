; The installer: what is given by scripts/package-windows is VERSION, WIDTH (x64 or x86), FOLDER (the staged files) and
; OUTPUT. /S installs and removes without a window, /D=FOLDER (the last argument) names another folder.
; Exit codes: 0 done; 1 cancelled; 2 the printer could not be installed, and nothing of it is left.
Unicode true
!if ${WIDTH} == x64
    Target amd64-unicode
!else
    Target x86-unicode
!endif
!include "MUI2.nsh"
!include "x64.nsh"

Name "Karvo"
OutFile "${OUTPUT}"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
ManifestDPIAware true
!if ${WIDTH} == x64
    InstallDir "$PROGRAMFILES64\Karvo"
!else
    InstallDir "$PROGRAMFILES\Karvo"
!endif

VIProductVersion "${VERSION}.0"
VIAddVersionKey CompanyName "Velmora Software"
VIAddVersionKey FileDescription "Karvo printer setup"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey LegalCopyright "Copyright © 2026 The Karvo graphics driver authors"
VIAddVersionKey ProductName "Karvo"
VIAddVersionKey ProductVersion "${VERSION}"

!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\Karvo"

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${FOLDER}\LICENSE"
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "German"
!insertmacro MUI_LANGUAGE "Japanese"

LangString OTHER_WIDTH ${LANG_ENGLISH} "This Windows has 64 bits: use the installer whose name ends in x64."
LangString OTHER_WIDTH ${LANG_GERMAN} "Dieses Windows hat 64 Bit: Verwenden Sie das Installationsprogramm, dessen Name auf x64 endet."
LangString OTHER_WIDTH ${LANG_JAPANESE} "この Windows は 64 ビット版です。名前が x64 で終わるインストーラーを使用してください。"
LangString FAILED ${LANG_ENGLISH} "The printer could not be installed. The details say why."
LangString FAILED ${LANG_GERMAN} "Der Drucker konnte nicht installiert werden. Die Einzelheiten nennen den Grund."
LangString FAILED ${LANG_JAPANESE} "プリンターをインストールできませんでした。詳細を確認してください。"

!macro 64_BIT_VIEW
    !if ${WIDTH} == x64
        SetRegView 64
    !endif
!macroend

Function .onInit
    !insertmacro 64_BIT_VIEW
    !if ${WIDTH} == x86
        ${If} ${RunningX64}
            MessageBox MB_ICONSTOP|MB_OK "$(OTHER_WIDTH)" /SD IDOK
            SetErrorLevel 2
            Quit
        ${EndIf}
    !endif
FunctionEnd

Function un.onInit
    !insertmacro 64_BIT_VIEW
FunctionEnd

; Files that a process holds are replaced at the next restart.
!macro REMOVE_FILES
    RMDir /r /REBOOTOK "$INSTDIR\package"
    Delete /REBOOTOK "$INSTDIR\kvsetup.exe"
    Delete /REBOOTOK "$INSTDIR\LICENSE"
    Delete /REBOOTOK "$INSTDIR\THIRD-PARTY.md"
    Delete /REBOOTOK "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKLM "${UNINSTALL}"
!macroend

; Also repairs: whatever is there is written anew.
Section
    SetShellVarContext all
    SetOverwrite on
    SetOutPath "$INSTDIR"
    File "${FOLDER}\LICENSE"
    File "${FOLDER}\THIRD-PARTY.md"
    File "${FOLDER}\kvsetup.exe"
    SetOutPath "$INSTDIR\package"
    File /r "${FOLDER}\package\*"
    SetOutPath "$INSTDIR"
    nsExec::ExecToLog '"$INSTDIR\kvsetup.exe" install --package "$INSTDIR\package" --location "$INSTDIR\package\${ARCHITECTURE}"'
    Pop $0
    ${If} $0 != 0
        nsExec::ExecToLog '"$INSTDIR\kvsetup.exe" remove'
        Pop $1
        SetOutPath "$TEMP"
        !insertmacro REMOVE_FILES
        SetErrorLevel 2
        MessageBox MB_ICONSTOP|MB_OK "$(FAILED)" /SD IDOK
        Abort
    ${EndIf}
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "Karvo"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL}" "Publisher" "Velmora Software"
    WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
SectionEnd

Section Uninstall
    SetShellVarContext all
    nsExec::ExecToLog '"$INSTDIR\kvsetup.exe" remove'
    Pop $0
    ${If} $0 != 0
        SetErrorLevel 2
        Abort
    ${EndIf}
    SetOutPath "$TEMP"
    !insertmacro REMOVE_FILES
SectionEnd
