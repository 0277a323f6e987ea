# Completion of kxpolicy for PowerShell: dot-source it from the profile. Whatever path it is called by, the one in PATH
# is asked. Where it has nothing to say PowerShell offers files.

Register-ArgumentCompleter -Native -CommandName kxpolicy, kxpolicy.exe -ScriptBlock {
    param($typed, $command, $cursor)
    $before = @($command.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursor } | ForEach-Object { $_.ToString() })
    kxpolicy "--complete=$typed" @before 2>$null | Where-Object { -not $_.StartsWith(':') } | ForEach-Object {
        $text, $help = $_ -split "`t", 2
        if (-not $help) { $help = $text }
        [System.Management.Automation.CompletionResult]::new($text, $text, 'ParameterValue', $help)
    }
}
