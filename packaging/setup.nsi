; The setup program; script/package compiles it and defines VERSION, OUTPUT, STAGE, and the file
; lists. Comments on what is written where: README.md beside it.

Unicode true
!include LogicLib.nsh
!include FileFunc.nsh
!include x64.nsh
!include MUI2.nsh

!define TITLE "Vestora Download Library"
!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VestoraDownloadLibrary"
!define SETTINGS "Software\Vestora\VTDL"
!define STARTUP "$SMSTARTUP\Vestora quote server.lnk"
!define STARTMENU "$SMPROGRAMS\${TITLE}\Quote server.lnk"

; What the exit status means; 0 is success, 1 a person's cancel.
!define EXIT_FAILED 2
!define EXIT_IN_USE 5
!define EXIT_ELEVATE 740

Name "${TITLE} ${VERSION}"
OutFile "${OUTPUT}"
RequestExecutionLevel user
SetCompressor /SOLID lzma
ShowInstDetails nevershow
ShowUninstDetails nevershow
BrandingText "${TITLE}"
AllowSkipFiles off
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${TITLE}"
VIAddVersionKey "CompanyName" "Vestora"
VIAddVersionKey "FileDescription" "${TITLE} setup"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
Page custom StrictPage StrictPageLeave
Page custom LivingPage LivingPageLeave
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Var allUsers     ; 1 or 0
Var purge        ; 1 or 0
Var strict       ; 1 or 0
Var living       ; 1 or 0: the quote server starts at log-on
Var settings     ; the settings file
Var directory    ; named by /D, before defaults
Var folder       ; scratch of the macros below
Var registration ; the arguments of regsvr32 for the scope

; Ends with a message, which a silent call does not show, and an exit status.
!macro Fail status text
  MessageBox MB_OK|MB_ICONSTOP "${text}" /SD IDOK
  SetErrorLevel ${status}
  Quit
!macroend

; Reads the scope from the command line, and sees that there are the rights for it.
!macro ReadOptions
  StrCpy $allUsers 0
  StrCpy $purge 0
  StrCpy $registration "/n /i:user"
  SetShellVarContext current
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/PURGE" $R1
  ${IfNot} ${Errors}
    StrCpy $purge 1
  ${EndIf}
  ClearErrors
  ${GetOptions} $R0 "/ALLUSERS" $R1
  ${IfNot} ${Errors}
    StrCpy $allUsers 1
  ${EndIf}
!macroend

!macro UseScope program
  ${If} $allUsers = 1
    StrCpy $registration ""
    SetShellVarContext all
    UserInfo::GetAccountType
    Pop $R1
    ${If} $R1 != "Admin"
      ${IfNot} ${Silent}
        ExecShell "runas" "${program}" "/ALLUSERS"
        Quit
      ${EndIf}
      SetErrorLevel ${EXIT_ELEVATE}
      Quit
    ${EndIf}
  ${EndIf}
!macroend

; The programs list and the library's own settings are the 64-bit view's on 64-bit Windows.
!macro UseSystemView
  ${If} ${RunningX64}
    SetRegView 64
  ${EndIf}
!macroend

; regsvr32 of one bitness on one DLL; the result is in $R2.
!macro Register32 options file
  ExecWait '"$SYSDIR\regsvr32.exe" /s ${options} $registration "${file}"' $R2
!macroend
!macro Register64 options file
  ExecWait '"$WINDIR\Sysnative\regsvr32.exe" /s ${options} $registration "${file}"' $R2
!macroend

; A DLL that a host has loaded cannot be replaced: better to stop before anything is changed.
!macro StopIfInUse file
  ${If} ${FileExists} "${file}"
    ClearErrors
    FileOpen $R3 "${file}" a
    ${If} ${Errors}
      !insertmacro Fail ${EXIT_IN_USE} "A program is using the library. Close it, and try again."
    ${EndIf}
    FileClose $R3
  ${EndIf}
!macroend

; Those that run from this installation; its other files are nobody's to hold open.
!macro EndQuoteServerOf folder
  ${If} ${FileExists} "$INSTDIR\${folder}\quoteserver.exe"
    nsExec::Exec '"$INSTDIR\${folder}\quoteserver.exe" --stop'
    Pop $R2
  ${EndIf}
!macroend
!macro EndQuoteServer
  !insertmacro EndQuoteServerOf x64
  !insertmacro EndQuoteServerOf x86  ; where earlier versions had it
!macroend

; What starts at log-on is the user's own, also in an installation for all users.
!macro UseScopeAgain
  ${If} $allUsers = 1
    SetShellVarContext all
  ${EndIf}
!macroend

!macro ForgetDataFolder
  ReadRegStr $R4 SHCTX "${KEY}" "DataFolder"
  ReadRegStr $R5 SHCTX "${SETTINGS}" "DataFolder"
  ${If} $R4 != ""
  ${AndIf} $R4 == $R5
    DeleteRegValue SHCTX "${SETTINGS}" "DataFolder"
  ${EndIf}
  DeleteRegKey /ifempty SHCTX "${SETTINGS}"
  DeleteRegKey /ifempty SHCTX "Software\Vestora"
!macroend

Function .onInit
  StrCpy $directory $INSTDIR
  StrCpy $strict 1
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/STRICT=" $R1
  ${IfNot} ${Errors}
  ${AndIf} $R1 == "0"
    StrCpy $strict 0
  ${EndIf}
  !insertmacro ReadOptions
  ; As it is, unless told otherwise.
  StrCpy $living 0
  ${If} ${FileExists} "${STARTUP}"
    StrCpy $living 1
  ${EndIf}
  ClearErrors
  ${GetOptions} $R0 "/LIVING=" $R1
  ${IfNot} ${Errors}
    StrCpy $living $R1
  ${EndIf}
  ${IfNot} ${RunningX64}
    StrCpy $living 0  ; the quote server is a 64-bit program
  ${EndIf}
  !insertmacro UseScope "$EXEPATH"
  !insertmacro UseSystemView
  ReadRegStr $folder SHCTX "${KEY}" "InstallLocation"
  ${If} $directory != ""
    Return
  ${EndIf}
  StrCpy $INSTDIR $folder
  ${If} $INSTDIR == ""
    StrCpy $INSTDIR "$LOCALAPPDATA\Programs\Vestora\VTDL"
    ${If} $allUsers = 1
      StrCpy $INSTDIR "$PROGRAMFILES\Vestora\VTDL"
      ${If} ${RunningX64}
        StrCpy $INSTDIR "$PROGRAMFILES64\Vestora\VTDL"
      ${EndIf}
    ${EndIf}
  ${EndIf}
FunctionEnd

; The settings file of whoever installs; as the library does, the user's folder before the machine's.
Function FindSettings
  ReadRegStr $R4 HKCU "${SETTINGS}" "DataFolder"
  ${If} $R4 == ""
    ReadRegStr $R4 SHCTX "${SETTINGS}" "DataFolder"
  ${EndIf}
  ${If} $R4 == ""
    StrCpy $R4 "%LOCALAPPDATA%\Vestora\VTDL"
  ${EndIf}
  ExpandEnvStrings $R4 $R4
  StrCpy $settings "$R4\VTDL33.Settings.xml"
FunctionEnd

; Asked where nobody has settings yet.
Function StrictPage
  Call FindSettings
  ${If} ${FileExists} $settings
    Abort
  ${EndIf}
  !insertmacro MUI_HEADER_TEXT "Strict replies" "What counts as a successful download."
  nsDialogs::Create 1018
  Pop $R1
  ${NSD_CreateCheckBox} 0 0 100% 12u "&Accept only replies that are whole (recommended)"
  Pop $R1
  ${If} $strict = 1
    ${NSD_Check} $R1
  ${EndIf}
  ${NSD_CreateLabel} 0 18u 100% 60u "A reply that breaks off, an error page, or a table without rows then \
    makes a download fail. Without this such replies pass for data, as programs that were written for \
    earlier versions may expect.$\r$\n$\r$\nThe setting is the key strict of the section http in the settings file."
  Pop $R2
  nsDialogs::Show
FunctionEnd

Function StrictPageLeave
  ${NSD_GetState} $R1 $strict
FunctionEnd

Function LivingPage
  ${IfNot} ${RunningX64}
    Abort  ; the page, not the setup
  ${EndIf}
  !insertmacro MUI_HEADER_TEXT "Prices of today" "Who answers when a workbook asks for prices."
  nsDialogs::Create 1018
  Pop $R1
  ${NSD_CreateCheckBox} 0 0 100% 12u "&Start the quote server, with living sources, whenever I log on"
  Pop $R1
  ${If} $living = 1
    ${NSD_Check} $R1
  ${EndIf}
  ${NSD_CreateLabel} 0 18u 100% 84u "The services that old workbooks ask are gone. The quote server answers in \
    their place, to programs on this computer: it asks services of today, and keeps copies. It has no window; \
    http://127.0.0.1:8733/ is its page.$\r$\n$\r$\nWhom it asks is yours to say, in the file feeds.json of your \
    data folder (%LOCALAPPDATA%\Vestora\VTDL). Those services have terms of use (docs\docs\terms.md), and a free \
    one may refuse."
  Pop $R2
  nsDialogs::Show
FunctionEnd

Function LivingPageLeave
  ${NSD_GetState} $R1 $living
FunctionEnd

; A version that is there is taken away first, so that no file of it stays. It keeps the settings.
Function RemovePrevious
  ReadRegStr $folder SHCTX "${KEY}" "InstallLocation"
  ReadRegStr $R6 SHCTX "${KEY}" "DisplayVersion"
  ${If} $folder == ""
  ${OrIfNot} ${FileExists} "$folder\uninstall.exe"
    Return
  ${EndIf}
  ${If} $R6 == "${VERSION}"
  ${AndIf} $folder == $INSTDIR
    Return
  ${EndIf}
  StrCpy $R7 ""
  ${If} $allUsers = 1
    StrCpy $R7 "/ALLUSERS"
  ${EndIf}
  DetailPrint "Removing version $R6"
  ExecWait '"$folder\uninstall.exe" /S $R7 _?=$folder' $R2
  ${If} $R2 <> 0
    !insertmacro Fail ${EXIT_FAILED} "Version $R6 could not be removed."
  ${EndIf}
  Delete "$folder\uninstall.exe"
  RMDir "$folder"
FunctionEnd

; Takes back what an installation that fails has done so far.
!macro FailAfterwards text
  StrCpy $R7 ""
  ${If} $allUsers = 1
    StrCpy $R7 "/ALLUSERS"
  ${EndIf}
  ExecWait '"$INSTDIR\uninstall.exe" /S $R7 _?=$INSTDIR'
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  !insertmacro Fail ${EXIT_FAILED} "${text}"
!macroend

Section
  !insertmacro StopIfInUse "$INSTDIR\x86\VTDL33.dll"
  !insertmacro StopIfInUse "$INSTDIR\x64\VTDL33.dll"
  !insertmacro EndQuoteServer
  Call RemovePrevious
  ClearErrors
  !include "${STAGE}/install.nsh"
  ${If} ${RunningX64}
    !include "${STAGE}/install-x64.nsh"
  ${EndIf}
  WriteUninstaller "$INSTDIR\uninstall.exe"
  ${If} ${Errors}
    !insertmacro Fail ${EXIT_FAILED} "The files could not be written."
  ${EndIf}

  Call WriteDataFolder
  !insertmacro Register32 "" "$INSTDIR\x86\VTDL33.dll"
  ${If} $R2 <> 0
    !insertmacro FailAfterwards "The library could not be registered."
  ${EndIf}
  ${If} ${RunningX64}
    !insertmacro Register64 "" "$INSTDIR\x64\VTDL33.dll"
    ; An ARM64 system's own regsvr32 loads no library for Intel processors; 32-bit hosts have theirs.
    ${If} $R2 <> 0
    ${AndIf} ${IsNativeARM64}
      DetailPrint "The 64-bit library was not registered; 64-bit Intel programs do without it."
    ${ElseIf} $R2 <> 0
      !insertmacro FailAfterwards "The 64-bit library could not be registered."
    ${EndIf}
  ${EndIf}
  Call WriteSettings
  Call WriteRegistry
  Call WriteShortcuts
  Call WriteLiving
SectionEnd

; Before the library is registered, which would write the same.
Function WriteDataFolder
  ; Where settings and logs go, unless somebody has said so already.
  ReadRegStr $R4 SHCTX "${SETTINGS}" "DataFolder"
  ${If} $R4 == ""
    StrCpy $R5 "%LOCALAPPDATA%\Vestora\VTDL"
    WriteRegExpandStr SHCTX "${SETTINGS}" "DataFolder" $R5
    ReadRegStr $R5 SHCTX "${SETTINGS}" "DataFolder"
    WriteRegStr SHCTX "${KEY}" "DataFolder" $R5
    ${If} ${RunningX64}
    ${AndIf} $allUsers = 1
      SetRegView 32
      WriteRegExpandStr HKLM "${SETTINGS}" "DataFolder" $R5
      SetRegView 64
    ${EndIf}
  ${EndIf}
FunctionEnd

; What was chosen, either way, so that a later setup does not choose again.
Function WriteSettings
  Call FindSettings
  ${If} ${FileExists} $settings
    Return
  ${EndIf}
  CreateDirectory $R4
  FileOpen $R3 $settings w
  FileWrite $R3 '<?xml version="1.0"?>$\r$\n<sections name="XML settings file">$\r$\n'
  FileWrite $R3 '<section name="http"><key name="strict">$strict</key></section>$\r$\n</sections>$\r$\n'
  FileClose $R3
FunctionEnd

Function WriteRegistry
  StrCpy $R7 ""
  ${If} $allUsers = 1
    StrCpy $R7 " /ALLUSERS"
  ${EndIf}
  WriteRegStr SHCTX "${KEY}" "DisplayName" "${TITLE}"
  WriteRegStr SHCTX "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${KEY}" "Publisher" "Vestora"
  WriteRegStr SHCTX "${KEY}" "DisplayIcon" "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"$R7'
  WriteRegStr SHCTX "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe"$R7 /S'
  WriteRegDWORD SHCTX "${KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${KEY}" "EstimatedSize" ${SIZE}
FunctionEnd

Function WriteShortcuts
  CreateDirectory "$SMPROGRAMS\${TITLE}"
  SetOutPath "$INSTDIR"
  CreateShortcut "$SMPROGRAMS\${TITLE}\Read me.lnk" "$INSTDIR\readme.txt"
  CreateShortcut "$SMPROGRAMS\${TITLE}\Samples.lnk" "$INSTDIR\samples"
  Delete "${STARTMENU}"  ; what earlier versions called the next
  ${If} ${RunningX64}
    CreateShortcut "$SMPROGRAMS\${TITLE}\Quote server with the samples.lnk" "$INSTDIR\x64\quoteserver.exe"
  ${EndIf}
  CreateShortcut "$SMPROGRAMS\${TITLE}\Uninstall.lnk" "$INSTDIR\uninstall.exe" "$R7"
FunctionEnd

; Whom the quote server asks, unless the user has such a file, and its start at log-on: minimized, for
; the moment that its console takes to go.
Function WriteLiving
  Call FindSettings
  SetShellVarContext current
  SetOutPath $R4
  SetOverwrite off
  File "${STAGE}/stage/samples/living/feeds.json"
  SetOverwrite on
  Delete "${STARTUP}"
  Delete "${STARTMENU}"
  ${If} $living = 1
    CreateShortcut "${STARTUP}" "$INSTDIR\x64\quoteserver.exe" \
      '--feeds "$R4\feeds.json" --log "$R4\quoteserver.log"' "" "" SW_SHOWMINIMIZED
    CreateDirectory "$SMPROGRAMS\${TITLE}"
    CopyFiles /SILENT "${STARTUP}" "${STARTMENU}"
    ; Not from here where that would give it an administrator's rights.
    ${If} $allUsers = 0
      ExecShell "" "${STARTUP}" "" SW_SHOWMINIMIZED
    ${EndIf}
  ${EndIf}
  !insertmacro UseScopeAgain
FunctionEnd

Function un.onInit
  !insertmacro ReadOptions
  !insertmacro UseScope "$INSTDIR\uninstall.exe"
  !insertmacro UseSystemView
FunctionEnd

Section "Uninstall"
  !insertmacro StopIfInUse "$INSTDIR\x86\VTDL33.dll"
  !insertmacro StopIfInUse "$INSTDIR\x64\VTDL33.dll"
  !insertmacro EndQuoteServer
  SetShellVarContext current
  Delete "${STARTUP}"
  Delete "${STARTMENU}"
  RMDir "$SMPROGRAMS\${TITLE}"
  !insertmacro UseScopeAgain
  ; Before the registration is taken back, which may have provided it.
  ReadRegStr $folder SHCTX "${SETTINGS}" "DataFolder"
  !insertmacro Register32 "/u" "$INSTDIR\x86\VTDL33.dll"
  ${If} ${RunningX64}
    !insertmacro Register64 "/u" "$INSTDIR\x64\VTDL33.dll"
  ${EndIf}
  ${If} $purge = 1
    ExpandEnvStrings $folder $folder
    ${If} $folder != ""
      Delete "$folder\VTDL33.Settings.xml"
      Delete "$folder\Error Log.txt"
      Delete "$folder\Tracing Log.txt"
      Delete "$folder\quoteserver.log"
      Delete "$folder\feeds.json"
      ${If} ${FileExists} "$folder\store\lock"
        Delete "$folder\store\*.csv"
        Delete "$folder\store\*.json"
        Delete "$folder\store\lock"
        RMDir "$folder\store"
      ${EndIf}
      RMDir "$folder"
      ExpandEnvStrings $folder "%LOCALAPPDATA%\Vestora"
      RMDir "$folder"
    ${EndIf}
  ${EndIf}
  !insertmacro ForgetDataFolder
  ${If} ${RunningX64}
  ${AndIf} $allUsers = 1
    SetRegView 32
    ReadRegStr $R5 HKLM "${SETTINGS}" "DataFolder"
    ${If} $R4 != ""
    ${AndIf} $R4 == $R5
      DeleteRegValue HKLM "${SETTINGS}" "DataFolder"
    ${EndIf}
    DeleteRegKey /ifempty HKLM "${SETTINGS}"
    DeleteRegKey /ifempty HKLM "Software\Vestora"
    SetRegView 64
  ${EndIf}
  DeleteRegKey SHCTX "${KEY}"
  Delete "$SMPROGRAMS\${TITLE}\*.lnk"
  RMDir "$SMPROGRAMS\${TITLE}"
  SetOutPath "$TEMP"
  !include "${STAGE}/remove.nsh"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  ; The folders above the default one, when nobody else's files are there.
  StrCpy $folder $INSTDIR "" -13
  ${If} $folder == "\Vestora\VTDL"
    StrCpy $folder $INSTDIR -5
    RMDir "$folder"
    ${If} $folder == "$LOCALAPPDATA\Programs\Vestora"
      RMDir "$LOCALAPPDATA\Programs"
    ${EndIf}
  ${EndIf}
SectionEnd
