; The installer: for one user, without administrator rights. package.py defines VERSION, FOLDER
; (the files), KIBIBYTES (their size), ICON and OUTPUT.
;
; Options: /S (no questions), /D=FOLDER (must come last, without quotes), /START (with /S: starts
; the program afterwards even if it did not run before).
; Exit codes: 0 done, 1 cancelled, 2 failed, 3 files in use. Unless 0, the old version stays.
;
; Setup unpacks the files into "$INSTDIR\.kvg-gate-setup\new" while the old program runs. Then it asks
; the program to end, renames the old files into the folder "old" beside "new", and the new files to
; their places. Renaming needs no disk space and little time, and setup undoes it when it fails.

Target amd64-unicode ; Windows itself refuses it on 32 bits
SetCompressor /SOLID lzma
SetCompressorDictSize 32
ManifestDPIAware true
RequestExecutionLevel user
AllowSkipFiles off
OutFile "${OUTPUT}"

!define NAME "KVG-Gate"
!define PROGRAM "KVG-Gate.exe"
!define MANIFEST "KVG-Gate.files"
!define WORK "$INSTDIR\.kvg-gate-setup"
!define SHORTCUT "$SMPROGRAMS\${NAME}.lnk"
!define ENTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define AUTOSTART "Software\Microsoft\Windows\CurrentVersion\Run"
!define AUTOSTART_VALUE "NimbraCloudGate" ; written by the program
!define CODE_FAILED 2
!define CODE_IN_USE 3
!define MAX_WAIT 60  ; quarters of a second for the running program to end
!define ASK_EVERY 16 ; quarters of a second: a busy program may miss a request

Name "${NAME}"
BrandingText "${NAME} ${VERSION}"
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "${ENTRY}" "InstallLocation"

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include WinVer.nsh

Var Path     ; of a file, as in a manifest
Var Action   ; function that WALK calls for each path
Var Manifest ; file that WALK reads
Var Handle
Var Failed   ; path of the first file that could not be moved
Var Ran      ; 1: the program ran from this folder
Var Halfway  ; 1: some old files could not be restored and stay in ${WORK}
Var Start    ; 1: start the program afterwards

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_WELCOMEFINISHPAGE_BITMAP "side.bmp"
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION StartProgram
!define MUI_UNCONFIRMPAGE_TEXT_TOP "$(SettingsStay)"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "Russian"

!macro TEXT name english russian
  LangString ${name} ${LANG_ENGLISH} "${english}"
  LangString ${name} ${LANG_RUSSIAN} "${russian}"
!macroend
!insertmacro TEXT OldWindows "${NAME} needs Windows 7 or later." \
  "Для ${NAME} нужна Windows 7 или новее."
!insertmacro TEXT OtherSetup "${NAME} is being installed or removed already." \
  "Установка или удаление ${NAME} уже выполняется."
!insertmacro TEXT Leaving "Waiting for ${NAME} to end" "Ожидание завершения ${NAME}"
!insertmacro TEXT InUse "This file is in use:$\n$\n$INSTDIR\$Path$\n$\nEnd the program that uses \
  it, then try again." "Этот файл используется:$\n$\n$INSTDIR\$Path$\n$\nЗавершите программу, \
  которая его использует, и повторите попытку."
!insertmacro TEXT NotWritable "No files can be written to this folder:$\n$\n$INSTDIR" \
  "В эту папку нельзя записать файлы:$\n$\n$INSTDIR"
!insertmacro TEXT NotReplaced "This file cannot be replaced:$\n$\n$INSTDIR\$Failed$\n$\nNothing was \
  changed." "Не удалось заменить этот файл:$\n$\n$INSTDIR\$Failed$\n$\nНичего не изменено."
!insertmacro TEXT NotRestored "Files of the version before could not be put back. They are kept in \
  this folder:$\n$\n${WORK}$\n$\nRun setup again." "Не удалось вернуть файлы прежней версии. Они \
  сохранены в этой папке:$\n$\n${WORK}$\n$\nЗапустите установку ещё раз."
!insertmacro TEXT NotRemoved "Not all files could be removed from this folder:$\n$\n$INSTDIR" \
  "Из этой папки удалось удалить не все файлы:$\n$\n$INSTDIR"
!insertmacro TEXT SettingsStay "${NAME} will be removed from the folder below. Your settings and \
  keys stay, for the case that you install it again." "${NAME} будет удалён из указанной ниже \
  папки. Настройки и ключи останутся на случай повторной установки."

VIProductVersion "${VERSION}.0"
!macro VERSION_INFO language
  VIAddVersionKey /LANG=${language} "ProductName" "${NAME}"
  VIAddVersionKey /LANG=${language} "ProductVersion" "${VERSION}"
  VIAddVersionKey /LANG=${language} "FileVersion" "${VERSION}"
  VIAddVersionKey /LANG=${language} "FileDescription" "${NAME} Setup"
  VIAddVersionKey /LANG=${language} "CompanyName" "Corvalt"
  VIAddVersionKey /LANG=${language} "LegalCopyright" "© 2026 Corvalt"
!macroend
!insertmacro VERSION_INFO ${LANG_ENGLISH}
!insertmacro VERSION_INFO ${LANG_RUSSIAN}

; Two installers or uninstallers at once would move each other's files.
!macro ONLY_ONE
  System::Call 'kernel32::CreateMutexW(p 0, i 0, w "${NAME} Setup") p .r0 ?e'
  Pop $0
  ${If} $0 = 183 ; ERROR_ALREADY_EXISTS
    MessageBox MB_OK|MB_ICONSTOP "$(OtherSetup)" /SD IDOK
    SetErrorLevel ${CODE_FAILED}
    Quit
  ${EndIf}
!macroend

!macro WALK un manifest action
  StrCpy $Manifest "${manifest}"
  GetFunctionAddress $Action ${un}${action}
  Call ${un}Walk
!macroend

; For both programs; NSIS requires "un." before the names of the uninstaller's functions.
!macro COMMON un

; Pushes 1 if the path can only be that of a file inside the folder, else 0: the manifest of an
; older version may have been changed.
Function ${un}IsOurs
  Push $0
  StrCpy $0 1
  ${If} $Path == ""
  ${OrIf} ${FileExists} "$INSTDIR\$Path\*"
    StrCpy $0 0
  ${EndIf}
  Push $1
  Push $2
  StrCpy $1 0
  ${Do}
    StrCpy $2 $Path 1 $1
    ${If} $2 == ""
      ${ExitDo}
    ${EndIf}
    ${If} $2 == ":"
    ${OrIf} $2 == "/"
      StrCpy $0 0
    ${EndIf}
    StrCpy $2 $Path 2 $1
    ${If} $2 == ".."
      StrCpy $0 0
    ${EndIf}
    IntOp $1 $1 + 1
  ${Loop}
  Pop $2
  Pop $1
  Exch $0
FunctionEnd

; Calls the action for each path of the manifest and, after closing it, for the uninstaller and the
; manifest itself.
Function ${un}Walk
  ClearErrors
  FileOpen $Handle "$Manifest" r
  ${IfNot} ${Errors}
    ${Do}
      FileRead $Handle $Path
      ${If} ${Errors}
        ${ExitDo}
      ${EndIf}
      StrCpy $Path $Path -2 ; the end of the line
      Call ${un}IsOurs
      Pop $0
      ${If} $0 = 1
        Call $Action
      ${EndIf}
      ClearErrors
    ${Loop}
    FileClose $Handle
  ${EndIf}
  StrCpy $Path "Uninstall.exe"
  Call $Action
  StrCpy $Path "${MANIFEST}"
  Call $Action
FunctionEnd

; Pushes 1 if a program runs from the file or has it open, else 0.
Function ${un}Busy
  Push $0
  ClearErrors
  ${If} ${FileExists} "$INSTDIR\$Path"
    FileOpen $0 "$INSTDIR\$Path" a
    FileClose $0
  ${EndIf}
  ${If} ${Errors}
    StrCpy $0 1
  ${Else}
    StrCpy $0 0
  ${EndIf}
  Exch $0
FunctionEnd

; Action: asks the user to close the file while it is busy, or gives up.
Function ${un}CheckPath
  ${If} $Path == "Uninstall.exe"
    Return ; it may be running now
  ${EndIf}
  ${Do}
    Call ${un}Busy
    Pop $0
    ${If} $0 = 0
      ${ExitDo}
    ${EndIf}
    ${IfNot} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$(InUse)" /SD IDCANCEL IDRETRY`
      StrCpy $0 ${CODE_IN_USE}
      Call ${un}GiveUp
    ${EndIf}
  ${Loop}
FunctionEnd

; Asks the program to end if it runs from this folder. It is never killed, because it would lose
; states and settings.
Function ${un}EndProgram
  StrCpy $Path "${PROGRAM}"
  Call ${un}Busy
  Pop $0
  ${If} $0 = 1
    StrCpy $Ran 1
    DetailPrint "$(Leaving)"
    ${For} $1 0 ${MAX_WAIT}
      IntOp $0 $1 % ${ASK_EVERY}
      ${If} $0 = 0
        SetDetailsPrint none
        SetOutPath "$INSTDIR"
        Exec '"$INSTDIR\${PROGRAM}" --quit'
        SetOutPath "$TEMP"
        SetDetailsPrint both
      ${EndIf}
      Sleep 250
      Call ${un}Busy
      Pop $0
      ${If} $0 = 0
        ${ExitFor}
      ${EndIf}
    ${Next}
  ${EndIf}
  Call ${un}CheckPath
FunctionEnd

; Sets the program's current folder, which would be the temporary one otherwise.
Function ${un}StartProgram
  SetOutPath "$INSTDIR"
  Exec '"$INSTDIR\${PROGRAM}"'
  SetOutPath "$TEMP"
FunctionEnd

; Ends setup or uninstaller after nothing was changed, or after Undo. $0: exit code.
Function ${un}GiveUp
  SetErrorLevel $0
  SetOutPath "$TEMP"
  FileClose $Handle
  ${If} $Halfway != 1
    RMDir /r "${WORK}"
  ${EndIf}
  RMDir "$INSTDIR"
  ${If} $Ran = 1
    StrCpy $Path "${PROGRAM}"
    Call ${un}Busy
    Pop $0
    ${If} $0 = 0
      Call ${un}StartProgram
    ${EndIf}
  ${EndIf}
  Abort
FunctionEnd

; Action: removes those folders of the path that are empty.
Function ${un}RemoveFolders
  StrCpy $0 $Path
  ${Do}
    ${GetParent} $0 $0
    ${If} $0 == ""
      ${ExitDo}
    ${EndIf}
    RMDir "$INSTDIR\$0"
  ${Loop}
FunctionEnd
!macroend
!insertmacro COMMON ""
!insertmacro COMMON "un."

; Moves a file, if it exists, from the folder "from" to its place in the folder "to".
!macro MOVE from to
  ${If} $Failed == ""
  ${AndIf} ${FileExists} "${from}\$Path"
    ${GetParent} "${to}\$Path" $0
    CreateDirectory "$0"
    ClearErrors
    Rename "${from}\$Path" "${to}\$Path"
    ${If} ${Errors}
      StrCpy $Failed $Path
    ${EndIf}
  ${EndIf}
!macroend

Function MoveAway
  !insertmacro MOVE "$INSTDIR" "${WORK}\old"
FunctionEnd

Function MoveIn
  !insertmacro MOVE "${WORK}\new" "$INSTDIR"
FunctionEnd

; Continues after a file that cannot be moved.
Function MoveBack
  Push $Failed
  StrCpy $Failed ""
  !insertmacro MOVE "${WORK}\old" "$INSTDIR"
  ${If} $Failed != ""
    StrCpy $Halfway 1
  ${EndIf}
  Pop $Failed
FunctionEnd

Function RemoveNew
  ${IfNot} ${FileExists} "${WORK}\new\$Path"
    Delete "$INSTDIR\$Path"
  ${EndIf}
FunctionEnd

; Restores the old files when this installation, or an earlier one that was interrupted, has not
; moved in all new files. The new manifest is the last of them.
Function Undo
  ${IfNot} ${FileExists} "${WORK}\old\*"
  ${OrIfNot} ${FileExists} "${WORK}\new\${MANIFEST}"
    Return
  ${EndIf}
  StrCpy $Halfway 1 ; in case the program does not end
  Call EndProgram
  StrCpy $Halfway 0
  !insertmacro WALK "" "${WORK}\new\${MANIFEST}" RemoveNew
  !insertmacro WALK "" "${WORK}\new\${MANIFEST}" MoveBack
  !insertmacro WALK "" "${WORK}\old\${MANIFEST}" MoveBack
  !insertmacro WALK "" "$INSTDIR\${MANIFEST}" MoveBack
FunctionEnd

Function NotWritable
  MessageBox MB_OK|MB_ICONSTOP "$(NotWritable)" /SD IDOK
  StrCpy $0 ${CODE_FAILED}
  Call GiveUp
FunctionEnd

Function NotUndone
  MessageBox MB_OK|MB_ICONSTOP "$(NotRestored)" /SD IDOK
  StrCpy $0 ${CODE_FAILED}
  Call GiveUp
FunctionEnd

Function .onInit
  ${IfNot} ${AtLeastWin7}
    MessageBox MB_OK|MB_ICONSTOP "$(OldWindows)" /SD IDOK
    SetErrorLevel ${CODE_FAILED}
    Quit
  ${EndIf}
  !insertmacro ONLY_ONE
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/START" $1
  ${IfNot} ${Errors}
    StrCpy $Start 1
  ${EndIf}
FunctionEnd

; Also after an extraction that failed, for instance because the disk is full.
Function .onInstFailed
  SetOutPath "$TEMP"
  ${If} $Halfway != 1
    RMDir /r "${WORK}"
  ${EndIf}
  RMDir "$INSTDIR"
FunctionEnd

; Installs into a subfolder if the folder holds other files.
Function TakeFolder
  ${If} ${FileExists} "$INSTDIR\*"
  ${AndIfNot} ${FileExists} "$INSTDIR\${MANIFEST}"
  ${AndIfNot} ${FileExists} "$INSTDIR\${PROGRAM}"
  ${AndIfNot} ${FileExists} "${WORK}\*"
    FindFirst $0 $1 "$INSTDIR\*"
    ${DoWhile} $1 != ""
      ${If} $1 != "."
      ${AndIf} $1 != ".."
        StrCpy $INSTDIR "$INSTDIR\${NAME}"
        ${ExitDo}
      ${EndIf}
      FindNext $0 $1
    ${Loop}
    FindClose $0
  ${EndIf}
FunctionEnd

Section
  Call TakeFolder
  Call Undo
  ${If} $Halfway = 1
    Call NotUndone
  ${EndIf}
  RMDir /r "${WORK}"
  ClearErrors
  CreateDirectory "${WORK}\new"
  ${If} ${Errors}
    Call NotWritable
  ${EndIf}
  SetOutPath "${WORK}\new"
  File /r "${FOLDER}/*"
  WriteUninstaller "${WORK}\new\Uninstall.exe"
  ${If} ${Errors}
    Call NotWritable
  ${EndIf}
  SetOutPath "$TEMP"

  Call EndProgram
  !insertmacro WALK "" "$INSTDIR\${MANIFEST}" CheckPath
  !insertmacro WALK "" "${WORK}\new\${MANIFEST}" CheckPath

  StrCpy $Failed ""
  CreateDirectory "${WORK}\old"
  !insertmacro WALK "" "$INSTDIR\${MANIFEST}" MoveAway
  !insertmacro WALK "" "${WORK}\new\${MANIFEST}" MoveAway
  !insertmacro WALK "" "${WORK}\new\${MANIFEST}" MoveIn
  ${If} $Failed != ""
    Push $Failed
    Call Undo
    Pop $Failed
    ${If} $Halfway = 1
      Call NotUndone
    ${EndIf}
    MessageBox MB_OK|MB_ICONSTOP "$(NotReplaced)" /SD IDOK
    StrCpy $0 ${CODE_FAILED}
    Call GiveUp
  ${EndIf}
  !insertmacro WALK "" "${WORK}\old\${MANIFEST}" RemoveFolders
  RMDir /r "${WORK}"

  WriteRegStr HKCU "${ENTRY}" "DisplayName" "${NAME}"
  WriteRegStr HKCU "${ENTRY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${ENTRY}" "Publisher" "Corvalt"
  WriteRegStr HKCU "${ENTRY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
  WriteRegStr HKCU "${ENTRY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${ENTRY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
  WriteRegStr HKCU "${ENTRY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
  WriteRegDWORD HKCU "${ENTRY}" "EstimatedSize" ${KIBIBYTES}
  WriteRegDWORD HKCU "${ENTRY}" "NoModify" 1
  WriteRegDWORD HKCU "${ENTRY}" "NoRepair" 1
  SetOutPath "$INSTDIR"
  CreateShortcut "${SHORTCUT}" "$INSTDIR\${PROGRAM}"
  SetOutPath "$TEMP"

  ; The last page offers this unless the installation is silent.
  ${If} ${Silent}
    ${If} $Ran = 1
    ${OrIf} $Start = 1
      Call StartProgram
    ${EndIf}
  ${EndIf}
SectionEnd

Function un.onInit
  !insertmacro ONLY_ONE
FunctionEnd

Function un.Remove
  ClearErrors
  Delete "$INSTDIR\$Path"
  ${If} ${Errors}
  ${AndIf} $Path != "Uninstall.exe"
    StrCpy $Failed $Path
  ${EndIf}
  Call un.RemoveFolders
FunctionEnd

Section Uninstall
  ; The list inside the uninstaller, which cannot have been changed.
  InitPluginsDir
  File "/oname=$PLUGINSDIR\${MANIFEST}" "${FOLDER}/${MANIFEST}"
  SetOutPath "$TEMP"
  Call un.EndProgram
  !insertmacro WALK "un." "$PLUGINSDIR\${MANIFEST}" CheckPath
  !insertmacro WALK "un." "$PLUGINSDIR\${MANIFEST}" Remove
  RMDir /r "${WORK}"
  RMDir "$INSTDIR"

  ReadRegStr $0 HKCU "${AUTOSTART}" "${AUTOSTART_VALUE}"
  ${If} $0 == '"$INSTDIR\${PROGRAM}"'
    DeleteRegValue HKCU "${AUTOSTART}" "${AUTOSTART_VALUE}"
  ${EndIf}
  ; Unless they belong to a later installation in another folder.
  ReadRegStr $0 HKCU "${ENTRY}" "InstallLocation"
  ${If} $0 == $INSTDIR
    Delete "${SHORTCUT}"
    DeleteRegKey HKCU "${ENTRY}"
  ${EndIf}
  ${If} $Failed != ""
    MessageBox MB_OK|MB_ICONEXCLAMATION "$(NotRemoved)" /SD IDOK
    SetErrorLevel ${CODE_FAILED}
  ${EndIf}
SectionEnd
