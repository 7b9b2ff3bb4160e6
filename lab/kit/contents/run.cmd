@echo off
if not exist "%~dp0kit.exe" (
    echo Extract the whole archive first, and start run.cmd there.
) else (
    "%~dp0kit.exe"
)
pause
