@echo off
rem script.cmd folder PATH | script.cmd key KEY - what an administrator would write in the program's place.
if "%1"=="folder" rmdir /s /q %2
if "%1"=="key" reg delete %2 /f
