# SPDX-License-Identifier: MIT

# Completion of applistd(8) in fish.

complete -c applistd -f
complete -c applistd -s h -l help -d 'Show the help'
complete -c applistd -l version -d 'Show the version'
complete -c applistd -l items -r -F -d 'Publish the items in this file'
complete -c applistd -l interactive -d 'Read commands from standard input'
complete -c applistd -l session -d 'Use the session bus'
complete -c applistd -l system -d 'Use the system bus'
complete -c applistd -l address -x -d 'Use the bus at this address'
complete -c applistd -l verbose -d 'Log every call and event'
complete -c applistd -l max-items -x -d 'Items that partners may add'
complete -c applistd -l max-bytes -x -d 'Bytes of their names and ids'
complete -c applistd -l max-request -x -d 'Bytes of a request'
complete -c applistd -l max-fd-request -x -d 'Bytes of a request in a descriptor'
complete -c applistd -l max-fd-reply -x -d 'Bytes of a reply in a descriptor'
complete -c applistd -l max-partners -x -d 'Partners that may connect'
complete -c applistd -l max-held -x -d 'Bytes of one caller that may wait'
complete -c applistd -l max-held-senders -x -d 'Callers that may wait'
complete -c applistd -l max-channels -x -d 'Partners with a direct channel'
