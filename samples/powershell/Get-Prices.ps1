# Shows how PowerShell downloads prices, and turns them into objects that Export-Csv and Where-Object
# understand. Run it in the PowerShell of the library's bitness; the 32-bit one is
# %windir%\SysWOW64\WindowsPowerShell\v1.0\powershell.exe:
#
#   .\Get-Prices.ps1 -Ticker AAPL -Start 2008-09-15 -End 2008-10-14 | Format-Table
#
# Not run here: there is no PowerShell under Wine.
param(
    [string] $Ticker = 'AAPL',
    [datetime] $Start = '2008-09-15',
    [datetime] $End = '2008-10-14'
)
$ErrorActionPreference = 'Stop'

$manager = New-Object -ComObject vtdl.CManager
$session = $manager.DataSources.Item('YAHOOHIST').CreateSession()
$session.Parameters.Item('TICKER').Value = $Ticker
$session.Parameters.Item('STARTDATE').Value = $Start
$session.Parameters.Item('ENDDATE').Value = $End
$session.Start()

$number = $session.Error('ErrorNumber')
if ($number -ne 0) { throw "$Ticker`: $($session.Error('ErrorDescription')) ($number)" }
if ($null -eq $session.Data) { throw "$Ticker`: no data; see 'Error Log.txt'" }

$fields = $session.Data.Values.Item('HISTORICAL').Value
$columns = [ordered]@{}
foreach ($field in $fields) { $columns[$field.Name] = $field.Data }
# A reply without rows arrives as a single one of the year 1899, whose numbers are 0.
if ($columns['DATE'][0].Year -eq 1899) { throw "$Ticker`: no rows" }
for ($row = 0; $row -lt $columns['DATE'].Count; $row++) {
    $values = [ordered]@{}
    foreach ($name in $columns.Keys) { $values[$name] = $columns[$name][$row] }
    [pscustomobject] $values
}
