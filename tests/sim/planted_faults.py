#!/usr/bin/env python3
# SPDX-License-Identifier: MIT

"""Plants faults in the sources, one at a time, and sees whether the simulation finds them.

    planted_faults.py list                        name|source of each, for the build
    planted_faults.py patch NAME SRC OUT          write the faulty copy of a file below SRC to OUT
    planted_faults.py hunt FOLDER ROUNDS [NAME…]  run the programs FOLDER/sim_with_NAME

A hunt fails when a fault is not found, unless the table says why it does no harm. The build of a
faulty program fails when its text is no longer in the sources: then the table needs a new one.
"""

import os
import subprocess
import sys
import time

# Name, source, the text that is replaced (it must be there once), its replacement, and, for what
# nobody can find, why it does no harm.
FAULTS = [
    ('serials-not-compared', 'remote/LossWatch.cpp',
     'return !wasFollowing || m_count != expected;', 'return !wasFollowing;', ''),
    ('change-during-a-read-forgotten', 'partner/FetchPlan.cpp',
     '    const bool wasStale = std::exchange',
     '    if (m_state == State::Reading) return false;\n    const bool wasStale = std::exchange',
     ''),
    ('failed-read-not-repeated', 'partner/FetchPlan.cpp',
     'm_list = Stale{true, Pace()};', 'm_list = Stale{false, Pace()};', ''),
    ('bus-not-looked-for', 'bus/BusLink.cpp',
     '    ScheduleRetry(m_retryDelay);\n    Leave();\n}\n\n// Must',
     '    Leave();\n}\n\n// Must', ''),
    ('attempt-without-end', 'bus/BusLink.cpp',
     '    ScheduleRetry(m_policy.attempt);\n',
     '    sd_event_source_set_enabled(m_timer.get(), SD_EVENT_OFF);\n', ''),
    ('owner-change-ignored', 'remote/ServiceOwner.cpp', '    m_onOwner(now);\n', '', ''),
    ('owner-not-asked-for', 'remote/ServiceOwner.cpp',
     'is seen by one or the other.\n    Ask();', 'is seen by one or the other.', ''),
    ('held-calls-forgotten', 'bus/Outbox.cpp', 'if (!Stalled()) m_onDrained();', '', ''),
    ('waiting-reply-forgotten', 'bus/Outbox.cpp',
     'if (m_waitingReply) TransmitReply(std::move(m_waitingReply));',
     'm_waitingReply.reset();', ''),
    ('waiting-events-forgotten', 'bus/Outbox.cpp',
     '        Transmit(m_queue.Front());\n        m_queue.Pop();', '        m_queue.Pop();', ''),
    ('gate-stays-shut', 'bus/Outbox.cpp', 'if (m_gate && !Stalled()) OpenGate();', '', ''),
    ('count-not-reset', 'remote/LossWatch.cpp', 'std::exchange(m_received, 0)', 'm_received', ''),
    ('calls-not-ended', 'remote/CallQueue.cpp',
     '        m_route.Forget(call.id);\n        call.isDone = true;\n',
     '        m_route.Forget(call.id);\n', ''),
    ('descriptor-leaks', 'bus/OwnedFd.cpp', 'if (m_fd >= 0) close(m_fd);', '', ''),
    ('held-calls-kept-over-a-lost-bus', 'platform/CallTurns.cpp',
     '    m_turn.reset();\n    m_held.Clear();', '    m_turn.reset();', ''),
    ('serial-does-not-count', 'platform/Endpoint.cpp', 'if (partner.empty()) ++m_serial;', '', ''),
    ('silence-without-suspicion', 'remote/RemoteSession.cpp',
     '    AskForCount(m_watch.Doubt(m_route.Now()));', '', ''),
    ('sent-count-wrong', 'remote/CallQueue.cpp',
     '    m_sent = m_calls.size();\n    m_sentBytes', '    m_sentBytes', ''),
    ('pace-kept-over-a-lost-service', 'partner/FetchPlan.cpp',
     '    m_list = Stale();\n    m_selection = Stale();\n', '',
     'what is kept delays a read by a second at most, and is the new service\'s own pace after 16'),
    ('reply-not-taken', 'remote/Carrier.cpp',
     'kOnReply<Carrier, &Carrier::OnConnected>', 'kOnSignal<Carrier, &Carrier::OnConnected>', ''),
    ('answers-of-a-lost-service-kept', 'remote/Carrier.cpp',
     '    m_connectAnswer.reset();\n    m_countAnswer.reset();\n    m_seam', '    m_seam', ''),
    ('held-calls-overtaken', 'platform/CallTurns.cpp',
     'if (!m_held.Empty() || m_outbox.Stalled())', 'if (m_outbox.Stalled())', ''),
    # A bus that takes nothing more.
    ('stuck-bus-not-left', 'platform/Wire.cpp', 'm_onFailed(-ETIMEDOUT);', '', ''),
    ('name-left-to-a-stuck-bus', 'platform/Endpoint.cpp',
     'KnockAtOwner(endpoint->m_link.Bus(), endpoint->m_busName);', '', ''),
    # Direct channels.
    ('channel-taken-too-early', 'remote/RemoteLink.cpp',
     'if (m_session.HasUnderWay()) return m_session.Hold();', '', ''),
    ('calls-held-for-ever', 'remote/RemoteLink.cpp', 'm_asksForSeam = result >= 0;',
     'm_asksForSeam = true;', ''),
    ('reading-ignored', 'bus/Outbox.cpp',
     '        outbox->GoOn();\n        if (outbox->m_gate && outbox->InLibrary() > 0)',
     '        if (outbox->m_gate && outbox->InLibrary() > 0)', ''),
    ('clicks-before-a-channel-forgotten', 'remote/Carrier.cpp',
     '        m_session.Notified(std::move(event.body), event.toEveryone);\n    }\n}', '    }\n}',
     ''),
    ('end-of-a-channel-ignored', 'remote/RemoteLink.cpp',
     'if (result >= 0 && !m_session.Moved(/* isConnected */ false)) result = -ENOTCONN;', '', ''),
    # What strangers may do.
    ('owner-believed-from-anybody', 'remote/ServiceOwner.cpp',
     '!bus_names::IsFromDriver(signal) ||', '', ''),
    ('leaving-believed-from-anybody', 'platform/PartnerTracker.cpp',
     'if (!bus_names::IsFromDriver(message)) return 0;', '',
     'a partner that the service takes for gone goes on calling, and hears every event: they are '
     'broadcast'),
    ('bad-descriptor-read', 'platform/CallMessage.cpp',
     'if (!refusal.empty()) return refusal;', '', ''),
    # What is refused, and memory that ends.
    ('large-reply-not-asked-for-again', 'remote/BusCalls.cpp',
     'if (AskAgainInFd(call, *error)) return;', '', ''),
    ('interrupted-name-given-up', 'platform/OwnName.cpp',
     'while (result == -EINTR &&', 'while (false &&', ''),
    ('listeners-not-told-without-memory', 'partner/Fetcher.cpp',
     'Guarded("reading the list again", [&] { Finish(read, outcome); });',
     'Finish(read, outcome);', ''),
]

# For what is too rare to be found in ordinary rounds: the one kind of fault that brings it about.
ONLY = {
    'large-reply-not-asked-for-again': ['only=huge'],
    'stuck-bus-not-left': ['only=stick'],
    'reading-ignored': ['only=huge'],
    'name-left-to-a-stuck-bus': ['only=stick'],
}


def patch(name, sources, out):
    fault = next(each for each in FAULTS if each[0] == name)
    _, source, old, new, _ = fault
    path = os.path.join(sources, source)
    with open(path, encoding='utf-8') as file:
        text = file.read()
    if text.count(old) != 1:
        sys.exit(f'{name}: found {text.count(old)} times in {path}, and not once: {old!r}')
    with open(out, 'w', encoding='utf-8') as file:
        file.write(text.replace(old, new))


def verdict_of(program, rounds, only):
    """What the program says of its failure; empty when nothing failed."""
    run = subprocess.run([program, 'run', '1', rounds, *only], stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, encoding='utf-8', errors='replace', check=False)
    if run.returncode == 0:
        return ''
    lines = run.stdout.splitlines()
    telling = [line for line in lines if 'FAILED' in line or 'ERROR' in line]
    return (telling or lines or [f'exit {run.returncode}'])[0]


def hunt(folder, rounds, names):
    missed = []
    for name, _, _, _, harmless in FAULTS:
        if names and name not in names:
            continue
        start = time.monotonic()
        verdict = verdict_of(os.path.join(folder, 'sim_with_' + name), rounds, ONLY.get(name, []))
        seconds = time.monotonic() - start
        if not verdict:
            verdict = 'harmless: ' + harmless if harmless else 'NOT FOUND'
            if not harmless:
                missed.append(name)
        print(f'{name:36} {seconds:6.1f} s  {verdict}', flush=True)
    return 1 if missed else 0


def main(arguments):
    verb = arguments[0] if arguments else ''
    if verb == 'list':
        print('\n'.join(f'{fault[0]}|{fault[1]}' for fault in FAULTS))
    elif verb == 'patch' and len(arguments) == 4:
        patch(*arguments[1:])
    elif verb == 'hunt' and len(arguments) >= 3:
        unknown = set(arguments[3:]) - {fault[0] for fault in FAULTS}
        if unknown:
            sys.exit('no such fault: ' + ', '.join(sorted(unknown)))
        return hunt(arguments[1], arguments[2], arguments[3:])
    else:
        sys.exit(__doc__)
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
