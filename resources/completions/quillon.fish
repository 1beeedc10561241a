# Completion of quillon for fish.

function __quillon_before
    set -l words (commandline -opc)
    test (count $words) -eq 1
end

# Whether one of these commands was typed.
function __quillon_is
    set -l words (commandline -opc)
    test (count $words) -gt 1; and contains -- $words[2] $argv
end

# The account's projects, or the tasks of the project that was named.
function __quillon_names
    set -l words (commandline -opc)
    quillon complete $words[2..-1] 2>/dev/null
end

complete -c quillon -f
complete -c quillon -n __quillon_before -l local -d 'keep the timesheet on this computer'
complete -c quillon -n __quillon_before -l background -d 'open no window by itself'
complete -c quillon -n __quillon_before -l info -r -F -d 'take tuning values from a file'
complete -c quillon -n __quillon_before -l check -d 'look at what Quillon needs of this desktop'
complete -c quillon -n __quillon_before -l help -s h -d 'print a summary and exit'
complete -c quillon -n __quillon_before -l version -d 'print the version and exit'
complete -c quillon -n __quillon_before -a toggle -d 'start or stop the current timer'
complete -c quillon -n __quillon_before -a new -d 'show the window for a new timer'
complete -c quillon -n __quillon_before -a timesheet -d 'show or hide the timesheet'
complete -c quillon -n __quillon_before -a preferences -d 'show the preferences'
complete -c quillon -n __quillon_before -a quit -d 'end the program'
complete -c quillon -n __quillon_before -a status -d 'print the hours and what they are for'
complete -c quillon -n __quillon_before -a start -d 'start a timer on a project'
complete -c quillon -n __quillon_before -a stop -d 'stop the timer that runs'
complete -c quillon -n __quillon_before -a continue -d 'go on with a recent booking'
complete -c quillon -n __quillon_before -a add -d 'book hours on a project'
complete -c quillon -n __quillon_before -a note -d 'replace the notes of the running entry'
complete -c quillon -n __quillon_before -a log -d 'list entries'
complete -c quillon -n __quillon_before -a projects -d 'list what can be booked'
complete -c quillon -n __quillon_before -a recent -d 'list what was booked last'
complete -c quillon -n '__quillon_is status' -l json -d 'as JSON'
complete -c quillon -n '__quillon_is status' -l follow -d 'a line for each change'
complete -c quillon -n '__quillon_is status' -l format -x -d 'as the text says'
complete -c quillon -n '__quillon_is start add' -a '(__quillon_names)'
complete -c quillon -n '__quillon_is start add' -l note -s n -x -d 'with notes'
complete -c quillon -n '__quillon_is start' -l at -x -d 'that began at a time of day'
complete -c quillon -n '__quillon_is start' -l ago -x -d 'that began so long ago'
complete -c quillon -n '__quillon_is add' -l day -s d -x -a 'today yesterday monday tuesday wednesday thursday friday saturday sunday' -d 'on another day'
complete -c quillon -n '__quillon_is log' -a 'today yesterday week'
complete -c quillon -n '__quillon_is log projects recent' -l json -d 'as JSON'
complete -c quillon -n '__quillon_is log' -l csv -d 'as a table'
complete -c quillon -n '__quillon_is start stop continue add note log projects recent' -l timeout -s t -x -d 'wait so long for the service'
