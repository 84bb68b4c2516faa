@echo off
setlocal enableextensions
rem Checks norvane64-rehearse on this Windows. It changes nothing and needs no rights.
rem Copy its whole output into a report. Exit code: 0, or 1 when a check failed.
cd /d "%~dp0"
set passed=0
set failed=0
set skipped=0
set key=HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters
set counts=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs
set name=no-such-name-of-a-dll.dll
set work=%TEMP%\norvane-check-%RANDOM%
mkdir "%work%"
if not exist "%work%\." exit /b 1
ver

call :version
call :list
call :missing
call :arguments
call :export
call :entries 64-bit Catalog_Entries64
call :entries 32-bit Catalog_Entries
call :sums

rmdir /s /q "%work%"
echo %passed% PASS, %failed% FAIL, %skipped% SKIPPED
if not %failed%==0 exit /b 1
exit /b 0

rem :pass, :fail, :skip TEXT: count and print a result.
:pass
set /a passed+=1
echo PASS    %~1
exit /b 0

:fail
set /a failed+=1
echo FAIL    %~1
exit /b 0

:skip
set /a skipped+=1
echo SKIPPED %~1
exit /b 0

rem :run ARGUMENTS: runs the program. Its output is in out.txt, its exit code in %code%.
:run
norvane64-rehearse.exe %* >"%work%\out.txt" 2>&1
set code=%ERRORLEVEL%
exit /b 0

rem :expect CODE TEXT: whether the last run had that exit code.
:expect
if %code%==%1 goto expected
call :fail "%~2: exit code %code%, not %1"
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
call :fail "--version printed no version"
exit /b 0
:version_known
call :expect 0 "--version, %second%"
exit /b 0

rem 0 and 5 both show that the program works.
:list
call :run list
copy "%work%\out.txt" "%work%\list.txt" >nul
if %code%==5 goto list_defect
call :expect 0 "list, all entries work"
exit /b 0
:list_defect
call :expect 5 "list, an entry does not work"
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
reg export "%key%" "%work%\winsock.reg" /y >nul 2>&1
reg export "%counts%" "%work%\counts.reg" /y >nul 2>&1
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
call :fail "export: %columns% (%defects%), this machine: %live% (%live_defects%)"
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
for /f "tokens=3" %%a in ('reg query "%key%" /v Current_Protocol_Catalog 2^>nul') do set catalog=%%a
set keys=0
for /f "tokens=1,9 delims=\" %%a in ('reg query "%key%\%catalog%\%2" 2^>nul') do (
    if not "%%b"=="" set /a keys+=1
)
set shown=none
for /f "usebackq tokens=1-3" %%a in ("%work%\list.txt") do if "%%a %%b"=="%1 catalog:" set shown=%%c
if "%catalog%"=="" goto entries_skipped
if %keys%==0 goto entries_skipped
if %keys%==%shown% goto entries_passed
call :fail "%1 catalog: %shown% entries, reg query prints %keys%"
exit /b 0
:entries_passed
call :pass "%1 catalog: %shown% entries, as reg query prints"
exit /b 0
:entries_skipped
call :skip "%1 catalog: reg query printed no keys"
exit /b 0

:sums
set wrong=
set checked=0
if exist SHA256SUMS goto sums_compare
call :skip "sums: no file SHA256SUMS"
exit /b 0
:sums_compare
for /f "usebackq tokens=1*" %%a in ("SHA256SUMS") do call :sum %%a "%%b"
if not "%wrong%"=="" goto sums_failed
if %checked%==0 goto sums_skipped
call :pass "sums: %checked% files are as in SHA256SUMS"
exit /b 0
:sums_failed
call :fail "sums: not as in SHA256SUMS:%wrong%"
exit /b 0
:sums_skipped
call :skip "sums: certutil printed nothing"
exit /b 0

rem :sum SUM FILE: compares the sum of a file. Some versions of certutil print blanks in it.
:sum
set file=%~2
set file=%file:/=\%
set sum=
for /f "skip=1 delims=" %%h in ('certutil -hashfile "%file%" SHA256 2^>nul') do (
    if not defined sum set sum=%%h
)
if not defined sum exit /b 0
set sum=%sum: =%
set /a checked+=1
if /i not "%sum%"=="%1" set wrong=%wrong% %file%
exit /b 0
