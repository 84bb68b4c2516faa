@echo off
setlocal enableextensions disabledelayedexpansion
rem Checks norvane64-rehearse on this Windows. It changes nothing and needs no rights.
rem Copy its whole output into a report. Exit code: 0, or 1 when a check failed or none could run.
call :main
set result=%ERRORLEVEL%
rem After a double click the window would close. The command line of its cmd.exe ends with " ". Wine's
rem cmd.exe does not have the variable, and leaves a quote.
set "line=%cmdcmdline:"=?%"
set "line=%line:"=%"
if "%line:~-3%"=="? ?" pause
exit /b %result%

:main
rem A share becomes a drive.
pushd "%~dp0" && goto folder
exit /b 1
:folder
call :checks
set code=%ERRORLEVEL%
popd
exit /b %code%

:checks
if not exist norvane64.exe goto packed
if not exist norvane64-rehearse.exe goto packed
rem A 32-bit console has its own reg.exe, which reads other keys, in System32.
set "system=%SystemRoot%\System32"
if exist "%SystemRoot%\Sysnative\reg.exe" set "system=%SystemRoot%\Sysnative"
set passed=0
set failed=0
set skipped=0
set key=HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters
set counts=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs
set name=no-such-name-of-a-dll.dll
set "work=%TEMP%\norvane-check-%RANDOM%"
if exist "%work%" goto no_folder
mkdir "%work%" && goto work
:no_folder
echo This folder exists or cannot be made: "%work%"
exit /b 1
:packed
echo Unpack the whole package first: the programs are not beside check.cmd.
exit /b 1

:work
ver

call :version
call :list
call :missing
call :arguments
call :export
call :entries 64-bit Catalog_Entries64
call :entries 32-bit Catalog_Entries
call :wide
call :sums

rmdir /s /q "%work%"
echo %passed% PASS, %failed% FAIL, %skipped% SKIPPED
if not %failed%==0 exit /b 1
exit /b 0

rem :pass, :skip TEXT: count and print a result.
:pass
set /a passed+=1
echo PASS    %~1
exit /b 0

:skip
set /a skipped+=1
echo SKIPPED %~1
exit /b 0

rem :fail TEXT FILES: the same, and prints the outputs that were judged.
:fail
set /a failed+=1
echo FAIL    %~1
for %%f in (%~2) do if exist "%work%\%%f" type "%work%\%%f"
exit /b 0

rem :run ARGUMENTS: runs the program. Its output is in out.txt, its exit code in %code%.
:run
.\norvane64-rehearse.exe %* >"%work%\out.txt" 2>&1
set code=%ERRORLEVEL%
exit /b 0

rem :expect CODE TEXT: whether the last run had that exit code.
:expect
if %code%==%1 goto expected
call :fail "%~2: exit code %code%, not %1" out.txt
exit /b 0
:expected
call :pass "%~2: exit code %1"
exit /b 0

:version
call :run --version
set first=
set second=
for /f "usebackq tokens=1,2" %%a in ("%work%\out.txt") do (
    set first=%%a
    set second=%%b
)
if "%first%"=="norvane64-rehearse" goto version_known
call :fail "--version printed no version" out.txt
exit /b 0
:version_known
call :expect 0 "--version, %second%"
exit /b 0

rem 0, 5 and 7 all show that the program works.
:list
call :run list
copy "%work%\out.txt" "%work%\list.txt" >nul
if %code%==5 goto list_defect
if %code%==7 goto list_unknown
call :expect 0 "list, all entries work"
exit /b 0
:list_defect
call :expect 5 "list, an entry does not work"
exit /b 0
:list_unknown
call :expect 7 "list, it cannot tell whether the entries work"
exit /b 0

:missing
call :run lsp %name%
call :expect 2 "lsp with a name that no LSP has"
exit /b 0

:arguments
call :run --no-such-option
call :expect 1 "an unknown option"
exit /b 0

rem This machine and its export have to give the same result. An export does not show missing files.
:export
"%system%\reg.exe" export "%key%" "%work%\winsock.reg" /y >nul 2>&1
"%system%\reg.exe" export "%counts%" "%work%\counts.reg" /y >nul 2>&1
if exist "%work%\winsock.reg" goto export_compare
call :skip "export: reg export wrote no file"
exit /b 0
:export_compare
set from=--from "%work%\winsock.reg"
if exist "%work%\counts.reg" set from=%from% --from "%work%\counts.reg"
call :run --brief lsp %name%
call :columns
set live=%columns%
set live_defects=%defects%
copy "%work%\out.txt" "%work%\live.txt" >nul
call :run --brief lsp %name% %from%
call :columns
if "%live%"=="" goto export_failed
if not "%live%"=="%columns%" goto export_failed
if not "%live_defects%"=="%defects%" goto export_skipped
call :pass "export: the same result as this machine, %live%"
exit /b 0
:export_skipped
call :skip "export: files are missing, %live_defects% entries do not work on this machine"
exit /b 0
:export_failed
call :fail "export: %columns% (%defects%), this machine: %live% (%live_defects%)" "out.txt live.txt"
exit /b 0

rem :columns: what --brief printed behind the name of the machine; entries that do not work are in %defects%.
:columns
set columns=
set defects=
for /f "usebackq tokens=2-8 delims=	" %%a in ("%work%\out.txt") do (
    set columns=%%a, %%b, %%c, %%d, %%e, %%g
    set defects=%%f
)
exit /b 0

rem :entries CATALOG KEY: the entries that "list" counted against the keys that "reg query" prints.
:entries
set catalog=
"%system%\reg.exe" query "%key%" /v Current_Protocol_Catalog >"%work%\current.txt" 2>nul
for /f "usebackq tokens=3" %%a in ("%work%\current.txt") do set catalog=%%a
set keys=0
"%system%\reg.exe" query "%key%\%catalog%\%2" >"%work%\keys.txt" 2>nul
for /f "usebackq tokens=1,9 delims=\" %%a in ("%work%\keys.txt") do (
    if not "%%b"=="" set /a keys+=1
)
set shown=none
for /f "usebackq tokens=1-3" %%a in ("%work%\list.txt") do if "%%a %%b"=="%1 catalog:" set shown=%%c
if "%catalog%"=="" goto entries_skipped
if %keys%==0 goto entries_skipped
if %keys%==%shown% goto entries_passed
call :fail "%1 catalog: %shown% entries, reg query prints %keys%" "list.txt keys.txt"
exit /b 0
:entries_passed
call :pass "%1 catalog: %shown% entries, as reg query prints"
exit /b 0
:entries_skipped
call :skip "%1 catalog: reg query printed no keys"
exit /b 0

rem A line of the trace with a character that the C locale lacks is UTF-8, because the runtime's _vscprintf
rem refuses it. An export of one LSP, whose name begins with U+4E2D, is rehearsed: the trace has to show the
rem name as the catalog does.
:wide
set zeros=00,
for /l %%i in (1,1,9) do call set zeros=%%zeros%%%%zeros%%
set "root=HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters"
>"%work%\wide.reg" echo Windows Registry Editor Version 5.00
>>"%work%\wide.reg" echo [%root%]
>>"%work%\wide.reg" echo "Current_Protocol_Catalog"="Protocol_Catalog9"
>>"%work%\wide.reg" echo [%root%\Protocol_Catalog9\Catalog_Entries]
>>"%work%\wide.reg" echo [%root%\Protocol_Catalog9\Catalog_Entries64]
>>"%work%\wide.reg" echo [%root%\Protocol_Catalog9\Catalog_Entries64\000000000001]
rem The path a.dll, the provider id, the catalog id 10, no chain, and the name. A byte has three characters.
set "item=61,2e,64,6c,6c,%zeros:~0,825%01,%zeros:~0,45%0a,%zeros:~0,237%2d,4e,42,00,%zeros:~0,1523%"
>>"%work%\wide.reg" echo "PackedCatalogItem"=hex:%item%
call :run --full lsp a.dll --from "%work%\wide.reg"
set shown=
set traced=
for /f "usebackq tokens=1-6" %%a in ("%work%\out.txt") do (
    if "%%a %%b"=="10 LSP" set shown=%%c
    if "%%a %%b %%c %%d"=="LSP Hidden ID: 10" set traced=%%f
)
if "%shown%"=="" goto wide_failed
if not "%shown%"=="%traced%" goto wide_failed
call :pass "trace: a name with a character above U+00FF is UTF-8"
exit /b 0
:wide_failed
call :fail "trace: the name is %traced%, in the catalog it is %shown%" out.txt
exit /b 0

:sums
set wrong=
set unread=
set checked=0
if exist SHA256SUMS goto sums_compare
call :skip "sums: no file SHA256SUMS"
exit /b 0
:sums_compare
copy nul "%work%\sums.txt" >nul
for /f "usebackq tokens=1*" %%a in ("SHA256SUMS") do call :sum %%a "%%b"
if not %checked%==0 set wrong=%wrong%%unread%
if not "%wrong%"=="" goto sums_failed
if %checked%==0 goto sums_skipped
call :pass "sums: %checked% files are as in SHA256SUMS"
exit /b 0
:sums_failed
call :fail "sums: not as in SHA256SUMS:%wrong%" sums.txt
exit /b 0
:sums_skipped
call :skip "sums: certutil printed nothing"
exit /b 0

rem :sum SUM FILE: compares the sum of a file. Some versions of certutil print blanks in it, and other lines
rem around it.
:sum
set file=%~2
set file=%file:/=\%
if not exist "%file%" goto sum_missing
set sum=
"%system%\certutil.exe" -hashfile "%file%" SHA256 >"%work%\certutil.txt" 2>nul
"%system%\findstr.exe" /r /i /x "[0-9a-f ]*" "%work%\certutil.txt" >"%work%\sum.txt" 2>nul
for /f "usebackq delims=" %%h in ("%work%\sum.txt") do set sum=%%h
if not defined sum goto sum_unread
set sum=%sum: =%
set /a checked+=1
if /i "%sum%"=="%1" exit /b 0
set wrong=%wrong% %file%
type "%work%\certutil.txt" >>"%work%\sums.txt"
exit /b 0
:sum_unread
set unread=%unread% %file% (no sum)
type "%work%\certutil.txt" >>"%work%\sums.txt"
exit /b 0
:sum_missing
set wrong=%wrong% %file% (missing)
exit /b 0
