# Completion of korvane_zwcli for PowerShell. What can stand where, the program itself knows.
Register-ArgumentCompleter -Native -CommandName korvane_zwcli, korvane_zwcli.exe -ScriptBlock {
    param($typed, $command, $cursor)
    $begun = @($command.CommandElements | Where-Object { $_.Extent.StartOffset -lt $cursor })
    $words = @($begun | ForEach-Object {
        $text = $_.Extent.Text
        $text = $text.Substring(0, [Math]::Min($text.Length, $cursor - $_.Extent.StartOffset))
        "'" + ($text -replace '^["'']|["'']$', '' -replace "'", "'\''") + "'"
    })
    if ($begun[-1].Extent.EndOffset -lt $cursor) { $words += "''" }
    & $command.GetCommandName() --complete ($words -join ' ') | ForEach-Object {
        # Of files nothing is said: where nothing else is, PowerShell completes their names itself.
        $word, $about = $_ -split "`t", 2
        if ($word -eq '') { return }
        $quoted = $word
        if ($word -match '[^\w.:=/%+-]') { $quoted = "'" + ($word -replace "'", "''") + "'" }
        [Management.Automation.CompletionResult]::new(
            $quoted, $word, 'ParameterValue', ($about, $word -ne $null)[0])
    }
}
