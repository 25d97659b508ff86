<#
.SYNOPSIS
Tries a package on a machine: installs it, prints, removes it, and says pass or fail for each step. The printer "Karvo"
and its settings are gone afterwards. Needs an administrator's PowerShell (5.1 or later) and a machine that trusts the
package's signature. What each step expects stands in docs/windows.md.
.PARAMETER Folder
What scripts/package-windows has made.
.PARAMETER Ask
Asks about what only a person sees, too.
#>
#Requires -RunAsAdministrator
param([Parameter(Mandatory)][string]$Folder, [switch]$Ask)
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'
$script:failed = 0
$outbox = Join-Path $env:LOCALAPPDATA 'karvo\outbox'
$userKey = 'HKCU:\Software\Velmora Software\Karvo12\KarvoPrinters\Karvo'
$width = if ([Environment]::Is64BitOperatingSystem) { 'x64' } else { 'x86' }

function Step([string]$Name, [scriptblock]$Test) {
    try { $why = & $Test } catch { $why = "$_" }
    if ($why) { $script:failed++; Write-Host "FAIL  ${Name}: $why" -ForegroundColor Red }
    else { Write-Host "pass  $Name" -ForegroundColor Green }
}

function Run([string]$Program, [string[]]$Arguments) {
    $process = Start-Process -FilePath $Program -ArgumentList $Arguments -Wait -PassThru
    if ($process.ExitCode -ne 0) { "exit code $($process.ExitCode)" }
}

# Whether the driver store takes the package of a folder; 259 says that it has it already.
function Store([string]$From) {
    $why = Run "$env:SystemRoot\System32\pnputil.exe" @('/add-driver', "`"$(Join-Path $From 'karvo.inf')`"")
    -not $why -or $why -eq 'exit code 259'
}

# Prints a page of text with a PowerShell of the other width or this one; the newest job must be whole at its beginning.
function PrintWith([string]$Shell) {
    $before = @(Get-ChildItem $outbox -Filter *.kv -ErrorAction SilentlyContinue).Count
    $document = "'Karvo test page' | Out-Printer -Name Karvo"  # words are handed over without quotes around them
    $why = Run $Shell @('-NoProfile', '-NonInteractive', '-Command', $document)
    if ($why) { return $why }
    foreach ($try in 1..60) {
        $jobs = @(Get-ChildItem $outbox -Filter *.kv -ErrorAction SilentlyContinue)
        if ($jobs.Count -gt $before) { break }
        Start-Sleep -Milliseconds 500
    }
    if ($jobs.Count -le $before) { return 'no job arrives in 30 seconds' }
    $newest = $jobs | Sort-Object LastWriteTime | Select-Object -Last 1
    $stream = [IO.File]::OpenRead($newest.FullName)
    try {
        $magic = New-Object byte[] 4
        [void]$stream.Read($magic, 0, 4)
    } finally { $stream.Dispose() }
    if ([Text.Encoding]::ASCII.GetString($magic) -ne 'KARV') { return "$newest does not begin with KARV" }
    Start-Sleep -Seconds 2
    if (@(Get-PrintJob -PrinterName Karvo).Count -gt 0) { return 'a job stays in the queue' }
}

function PageSettings {
    Add-Type -AssemblyName System.Drawing
    $settings = New-Object System.Drawing.Printing.PrinterSettings
    $settings.PrinterName = 'Karvo'
    $settings
}

$installer = (Get-ChildItem $Folder -Filter "karvo-*-$width.exe" | Select-Object -First 1).FullName
$package = Join-Path ([IO.Path]::GetTempPath()) "karvo-check-$PID"
Expand-Archive (Get-ChildItem $Folder -Filter 'karvo-*-driver.zip' | Select-Object -First 1).FullName $package

Step 'signatures' {
    $files = @(Get-ChildItem $package -Recurse -Include '*.dll', '*.exe', '*.cat') + @(Get-Item $installer)
    $files | ForEach-Object { Get-AuthenticodeSignature $_.FullName } | Where-Object Status -ne 'Valid' |
        ForEach-Object { "$($_.Path): $($_.StatusMessage)" } | Select-Object -First 1
}
Step 'catalogue' {
    # The driver store takes a package when its catalogue has each file as it is: one, and not when a file is another.
    $changed = "$package-changed"
    Copy-Item $package $changed -Recurse
    Add-Content (Join-Path $changed 'karvo.inf') '; changed'
    if (Store $changed) { 'a changed package is taken' } elseif (-not (Store $package)) { 'it is not taken' }
    Remove-Item $changed -Recurse
}
foreach ($time in 'first', 'second') { Step "$time installation" { Run $installer @('/S') } }
Step 'driver' {
    $environments = if ($width -eq 'x64') { 'Windows x64', 'Windows NT x86' } else { , 'Windows NT x86' }
    foreach ($environment in $environments) {
        $driver = Get-PrinterDriver -Name Karvo -PrinterEnvironment $environment
        if ($driver.MajorVersion -ne 3) { "version $($driver.MajorVersion) for $environment" }
        elseif (-not $driver.IsPackageAware) { "not from a package for $environment" }
    }
}
Step 'printer and port' {
    $printer = Get-Printer -Name Karvo
    if ($printer.PortName -ne '\\.\NUL') { "port $($printer.PortName)" }
    elseif ($printer.PrinterStatus -ne 'Normal') { "status $($printer.PrinterStatus)" }
}
Step 'papers' {
    $papers = @((PageSettings).PaperSizes | ForEach-Object PaperName)
    if ($papers.Count -lt 66 -or $papers -notcontains 'A4') { "$($papers.Count) papers" }
}
Step 'printing' { PrintWith "$env:SystemRoot\System32\WindowsPowerShell\v1.0\powershell.exe" }
if ($width -eq 'x64') {
    Step 'printing from 32 bits' { PrintWith "$env:SystemRoot\SysWOW64\WindowsPowerShell\v1.0\powershell.exe" }
}
Step 'an enforced value' {
    New-Item $userKey -Force | Out-Null
    Set-ItemProperty $userKey Orientation 2 -Type DWord
    try { $landscape = (PageSettings).DefaultPageSettings.Landscape } finally { Remove-ItemProperty $userKey Orientation }
    if (-not $landscape) { 'the page stays upright' } elseif ((PageSettings).DefaultPageSettings.Landscape) { 'it stays' }
}
if ($Ask) {
    foreach ($question in 'The preferences have three pages, nothing is cut off, each control has its key',
        'After Cancel the preferences show the old values', 'At 200 % and with high contrast they are readable',
        'In German and in Japanese they are in that language') {
        Start-Process rundll32 'printui.dll,PrintUIEntry /e /n Karvo' -Wait
        Step $question { if ((Read-Host "${question}? [y/n]") -ne 'y') { 'said to be wrong' } }
    }
}
Step 'removal' { Run (Join-Path $env:ProgramFiles 'Karvo\uninstall.exe') @('/S') }
Step 'nothing stays behind' {
    Start-Sleep -Seconds 10  # the uninstaller goes on as a copy of itself
    $left = @(Get-Printer | Where-Object DriverName -eq 'Karvo') + @(Get-PrinterDriver | Where-Object Name -eq 'Karvo') +
        @(Get-PrinterPort | Where-Object Name -eq '\\.\NUL') +
        @(Get-ChildItem "$env:SystemRoot\System32\spool\drivers" -Recurse -Include 'kv*12*.dll', 'kvdisp12.exe') +
        @('HKLM:\Software\Velmora Software', 'HKLM:\Software\WOW6432Node\Velmora Software', (Join-Path $env:ProgramFiles Karvo) | Where-Object { Test-Path $_ })
    if ((& "$env:SystemRoot\System32\pnputil.exe" /enum-drivers) -match 'karvo\.inf') { $left += 'the package in the driver store' }
    $left | Select-Object -First 1
}
Remove-Item $package -Recurse
if ($script:failed) { Write-Host "$script:failed steps failed"; exit 1 }
Write-Host 'all passed'
