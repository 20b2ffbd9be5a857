@echo off
rem register.cmd      makes the automation servers of 64 and 32 bits known: to all users, or to the current one where that is
rem                   not allowed; again after the folder has been moved.
rem register.cmd /u   takes that back.
setlocal
set failed=
set "own=%SystemRoot%\System32\regsvr32.exe"
if exist "%SystemRoot%\Sysnative\regsvr32.exe" set "own=%SystemRoot%\Sysnative\regsvr32.exe"
set "other=%SystemRoot%\SysWOW64\regsvr32.exe"
if /i "%PROCESSOR_ARCHITECTURE%%PROCESSOR_ARCHITEW6432%"=="x86" (
  call :server "%own%" "%~dp0bin32\Lumvex51.dll" %1
) else (
  call :server "%own%" "%~dp0bin\Lumvex51.dll" %1
  if exist "%other%" call :server "%other%" "%~dp0bin32\Lumvex51.dll" %1
)
if defined failed exit /b 1
exit /b 0

:server
%1 /s %3 %2
if errorlevel 1 (
  echo %~2: regsvr32 failed 1>&2
  set failed=1
)
exit /b 0
