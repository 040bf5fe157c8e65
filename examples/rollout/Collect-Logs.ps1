# Copies the configurator's log of each machine into a folder of the machine's name, as lsdk-log takes them.
# Not run where this project is built: there is no Windows there.
#     .\Collect-Logs.ps1 -Machines (Get-Content ring.txt) -Destination D:\logs
param(
    [Parameter(Mandatory)] [string[]] $Machines,
    [Parameter(Mandatory)] [string] $Destination
)
$ErrorActionPreference = 'Stop'
$log = 'C$\Program Files\Common Files\Velta\Velta QK\lsdkConfiguratorLog.txt'

foreach ($machine in $Machines) {
    $folder = New-Item -ItemType Directory -Force -Path (Join-Path $Destination $machine)
    try {
        Copy-Item -LiteralPath "\\$machine\$log" -Destination $folder
    } catch {
        Write-Warning "${machine}: $_"
    }
}
