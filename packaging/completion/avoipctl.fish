# fish completion for avoipctl
function __avoipctl_complete
    set -l before (commandline -opc)
    avoipctl --complete $before[2..-1] (commandline -ct) 2>/dev/null
end
complete -c avoipctl -f -a '(__avoipctl_complete)'
