# Installs on a pilot ring of machines, one after the other, and stops when too many have failed.
# Not run where this project is built: there is no Windows there.
#     .\Start-PilotRing.ps1 -Machines (Get-Content ring.txt) -Installer \\server\share\product.msi -Destination D:\logs
param(
    [Parameter(Mandatory)] [string[]] $Machines,
    [Parameter(Mandatory)] [string] $Installer,
    [Parameter(Mandatory)] [string] $Destination,
    [int] $MostFailures = 2
)
$ErrorActionPreference = 'Stop'

$failed = @()
$tried = @()
$successes = 0, 3010  # 3010: a restart is due
foreach ($machine in $Machines) {
    $tried += $machine
    try {
        # A folder that users of the machine cannot write to.
        $folder = New-Item -ItemType Directory -Force -Path "\\$machine\C$\Program Files\Velta Setup"
        Copy-Item -LiteralPath $Installer -Destination (Join-Path $folder 'product.msi')
        $code = Invoke-Command -ComputerName $machine -ScriptBlock {
            $step = Start-Process msiexec.exe -Wait -PassThru -ArgumentList @(
                '/i', '"C:\Program Files\Velta Setup\product.msi"', '/qn', 'ENTERPRISE=true')
            $step.ExitCode
        }
    } catch {
        $code = "$_"
    }
    Write-Output "${machine}: $code"
    if ($code -notin $successes) { $failed += $machine }
    if ($failed.Count -gt $MostFailures) {
        Write-Warning "Stopped: failed on $($failed -join ', ')"
        break
    }
}

& (Join-Path $PSScriptRoot 'Collect-Logs.ps1') -Machines $tried -Destination $Destination
Write-Output "lsdk-log $Destination --html report.html"
exit [int]($failed.Count -gt 0)
