; The installer: for one user, without an administrator's rights. package.py gives VERSION, FOLDER
; (the files), KIBIBYTES (their size), ICON and OUTPUT.
;
; Options: /S (no questions), /D=FOLDER (the last one, without quotes), /START (with /S: starts the
; program afterwards, which otherwise is done only if it ran before).
; Exit codes: 0 done, 1 cancelled, 2 failed, 3 files in use. Unless it is 0, what was there still is.
;
; The files go into "$INSTDIR\.kvg-gate-setup\new" first, while the old program runs. When they are complete,
; the program is asked to end, its files are moved to its folder "old" and the new ones to their places:
; renaming takes no room on the disk and no time, and is undone when it fails.

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
!define LONGEST_WAIT 60 ; quarters of a second for the running program to end
!define ASK_EVERY 16    ; of them, as a program that is busy may miss that it is asked

Name "${NAME}"
BrandingText "${NAME} ${VERSION}"
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "${ENTRY}" "InstallLocation"

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include WinVer.nsh

Var Path     ; of a file, as it stands in a manifest
Var Action   ; function that a walk calls for each path
Var Manifest ; that a walk reads
Var Handle
Var Failed   ; path of the first file that could not be moved
Var Ran      ; 1: the program ran from this folder
Var Halfway  ; 1: old files could not be brought back, and are kept in the folder for the work
Var Start    ; 1: start it afterwards

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

; A second installer or uninstaller would take the files from under the first.
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

; What both programs do; the functions of the uninstaller have to begin with "un.".
!macro COMMON un

; Pushes 1 when the path is that of a file in the folder, as far as a text tells, or 0: the manifest
; of an older version may have been changed by whoever can write there.
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

; Calls the action for each path of the manifest, then for the two files that belong to every
; installation. The manifest is closed by then.
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

; Pushes 1 when a program runs from the file or holds it open, or 0.
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

; Action: while the file is busy, the user is asked to help; without help nothing is done.
Function ${un}CheckPath
  ${If} $Path == "Uninstall.exe"
    Return ; may be the one that runs
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

; Asks the program to end if it runs from this folder. It is never killed: it has measurements to
; deliver and settings to store.
Function ${un}EndProgram
  StrCpy $Path "${PROGRAM}"
  Call ${un}Busy
  Pop $0
  ${If} $0 = 1
    StrCpy $Ran 1
    DetailPrint "$(Leaving)"
    ${For} $1 0 ${LONGEST_WAIT}
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

; Not in the temporary folder, where it would look for files then.
Function ${un}StartProgram
  SetOutPath "$INSTDIR"
  Exec '"$INSTDIR\${PROGRAM}"'
  SetOutPath "$TEMP"
FunctionEnd

; Ends the work when nothing was changed, or when that was undone. $0: exit code.
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

; Action: removes the folders that the path was in, as far as they are empty.
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

; Moves a file of the folder "from" to its place in the folder "to", if it is there.
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

; Goes on after a file that cannot be moved.
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

; Brings the old files back after an exchange that did not come to its end, be it just now or when
; a former installation was cut off. The new manifest is the last file that is moved in.
Function Undo
  ${IfNot} ${FileExists} "${WORK}\old\*"
  ${OrIfNot} ${FileExists} "${WORK}\new\${MANIFEST}"
    Return
  ${EndIf}
  StrCpy $Halfway 1 ; should the program not end
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

; A folder with files of somebody else gets a folder in it.
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

  ; With pages, the last one offers it.
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
  ; Its own list, as nobody else can change it.
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
