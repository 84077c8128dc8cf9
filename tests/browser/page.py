#!/usr/bin/python3
"""A switch's life as a browser shows it: page.py PROGRAMS OUTPUT

PROGRAMS is the folder of qorclient and qorswitch. Screenshots go to OUTPUT. With axe-core in
OUTPUT/node_modules every view is checked for accessibility. Exits with 77 where a part of the
machine is missing, and says which.
"""

import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
HOSTILE = '<img src=x onerror=alert(1)>'

POLICY = {
    'originalVni': 10100, 'serviceVni': 20100,
    'serviceIntfSet': {'near': {'intf': {'Ethernet5': True}}, 'far': {'intf': {'Ethernet6': True}}},
    'flow': {
        'from-a': {'interceptPoint': 'ingress', 'match': {'srcMac': '02:00:00:00:00:0a', 'vni': 10100},
                   'action': {'vni': 20100}},
        'from-b': {'interceptPoint': 'ingress', 'match': {'srcMac': '02:00:00:00:00:0b', 'vni': 10100},
                   'action': {'vni': 20100}},
        'to-hosts': {'interceptPoint': 'egress', 'match': {'vni': 20100}, 'action': {'vni': 10100}},
        'back': {'interceptPoint': 'ingress', 'serviceIntfKey': 'far', 'match': {'vni': 10100},
                 'action': {'vni': 20100}},
        HOSTILE: {'interceptPoint': 'ingress', 'serviceIntfKey': 'near', 'match': {'vni': 20100},
                  'action': {'vni': 10100}}}}

SWITCH = {
    'pinflow/pfHwStatusDir/dyninputstatus/qor': {'supported': True},
    'mgmt/controller/status': {'enabled': True,
                               'leaderServiceStatusDir': {'service': {'Qor': {'enabled': True}}}},
    'bridging/config': {'vlanConfig': {'100': {'intf': {'Ethernet1': True, 'Ethernet7': True}}}},
    'bridging/switchIntfConfig': {'switchIntfConfig': {'Ethernet1': {}, 'Ethernet7': {'trunkNativeVlan': 100}}},
    'bridging/status': {'fdbStatus': {
        '100|02:00:00:00:00:0a': {'intf': 'Ethernet1', 'entryType': 'local'},
        '100|02:00:00:00:00:1d': {'intf': 'Ethernet7', 'entryType': 'local'}}},
    'routing/fhrp/vrMacStatus': {'virtualRouterMac': '02:00:00:00:ff:01'},
    'vxlancontroller/version2/vni': {'10100': {'macVtepTable': {'02:00:00:00:00:0c': {'vtepAddr': '192.0.2.9'}}}},
    'interface/status/eth/vxlan': {'vtiStatus': {'Vxlan1': {
        'addr': '192.0.2.1', 'vlanToVniMap': {'100': {'vni': 10100}}}}}}

# A service whose sets have names of their own.
THREE = {
    'originalVni': 10100, 'serviceVni': 20100,
    'serviceIntfSet': {name: {'intf': {f'Ethernet1{i}': True}} for i, name in enumerate(('inside', 'outside', 'dmz'))},
    'flow': {name: {'interceptPoint': 'ingress', 'serviceIntfKey': name, 'match': {'vni': 20100}, 'action': {'vni': 10100}}
             for name in ('inside', 'outside', 'dmz')}}

VIEWS = {
    'switch': '#/', 'flows': '#/flows', 'rules': '#/rules', 'hosts': '#/hosts', 'ports': '#/ports',
    'learnt': '#/learnt', 'tunnels': '#/tunnels', 'vnis': '#/vnis',
    'routed': '#/l3flows', 'groups': '#/groups', 'flow': '#/flow?flow=web%2Ffrom-b',
    'frame': '#/frame?in=Ethernet1&from=02:00:00:00:00:0a&to=02:00:00:00:ff:01&vlan=100',
    'changes': '#/changes', 'processes': '#/processes'}


def skip(reason):
    print('skipped:', reason)
    sys.exit(SKIPPED)


def missing():
    for program in ('chromium', 'chromedriver', 'redis-server'):
        if not shutil.which(program):
            skip(f'there is no {program}')
    try:
        import selenium  # noqa: F401
    except ImportError:
        skip('there is no selenium')


# Others may use the machine.
def eventually(what, words, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = what()
        if value:
            return value
        time.sleep(.02)
    raise AssertionError(words() if callable(words) else words)


class Device:
    """A switch whose state is in a server of its own, and the page of it."""

    def __init__(self, programs, folder):
        self.folder, self.programs, self.processes = folder, programs, {}
        with socket.socket() as free:
            free.bind(('127.0.0.1', 0))
            self.port = free.getsockname()[1]
        self.url = f'http://127.0.0.1:{self.port}/'
        self.engine()
        self.run('init')
        self.start('qorclient', 'serve')
        self.start('qorswitch', 'simulate', '--vlan-pool', '1000-1999')
        self.start('qorclient', 'web', '--listen', f'127.0.0.1:{self.port}')

    def at(self):
        return ['--redis', f'unix:{self.folder}/redis', '--switch', 'leaf1']

    def launch(self, name, words):
        log = open(f'{self.folder}/{name}.log', 'ab')
        self.processes[name] = subprocess.Popen(words, stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                                env=os.environ | {'FLASHLOG_DISABLE': '1'})

    def engine(self):
        self.launch('engine', ['redis-server', '--port', '0', '--unixsocket', f'{self.folder}/redis', '--dir',
                               self.folder, '--appendonly', 'yes', '--appendfsync', 'always', '--save', ''])
        eventually(lambda: os.path.exists(f'{self.folder}/redis'), 'no engine')

    def start(self, program, command, *options):
        self.launch(command, [f'{self.programs}/{program}', command, *self.at(), *options])

    def run(self, *words):
        eventually(lambda: subprocess.run([f'{self.programs}/qorclient', *words, *self.at()],
                                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0, words)

    def apply(self, document):
        with open(f'{self.folder}/document.json', 'w') as file:
            json.dump(document, file)
        self.run('apply', f'{self.folder}/document.json')

    def redis(self, *words):
        return ['redis-cli', '-s', f'{self.folder}/redis', *words]

    @contextlib.contextmanager
    def changing(self, path):
        """Meanwhile a row comes and goes; in the end it is not there."""
        key = f'qor{{leaf1}}:{path}'
        self.launch('changing', self.redis(
            '-r', '-1', '-i', '0.03', 'EVAL',
            'return redis.call("DEL", KEYS[1]) == 0 and redis.call("SET", KEYS[1], "true")', '1', key))
        yield
        self.kill('changing')
        subprocess.run(self.redis('DEL', key), stdout=subprocess.DEVNULL, check=True)

    def kill(self, name):
        self.processes[name].send_signal(signal.SIGKILL)
        self.processes.pop(name).wait()

    def end(self):
        for name in list(self.processes):
            self.kill(name)


class Browser:
    def __init__(self, device, folder, output):
        from selenium import webdriver
        from selenium.common.exceptions import WebDriverException
        from selenium.webdriver.chrome.options import Options
        from selenium.webdriver.chrome.service import Service
        options = Options()
        options.binary_location = shutil.which('chromium')
        # It is alone with this machine: nothing of it asks elsewhere.
        for flag in ('headless=new', 'no-sandbox', 'disable-gpu', 'disable-quic', 'no-first-run',
                     'disable-background-networking', 'disable-component-update', 'disable-sync',
                     'disable-dev-shm-usage', f'user-data-dir={folder}/browser'):
            options.add_argument(f'--{flag}')
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        try:
            self.driver = webdriver.Chrome(service=Service(shutil.which('chromedriver')), options=options)
        except WebDriverException as error:
            skip(f'chromium does not start: {error.msg.splitlines()[0]}')
        self.device, self.output = device, output
        axe = f'{output}/node_modules/axe-core/axe.min.js'
        self.axe = open(axe).read() if os.path.exists(axe) else None
        self.look()

    def look(self, width=1280, height=900, scheme='light'):
        self.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {
            'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': False})
        self.driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': [
            {'name': 'prefers-color-scheme', 'value': scheme}, {'name': 'prefers-reduced-motion', 'value': 'reduce'}]})

    def open(self, place):
        self.driver.get('about:blank')
        self.driver.get(self.device.url + place)

    def text(self, selector='main'):
        return self.driver.execute_script(
            'return document.querySelector(arguments[0])?.innerText ?? ""', selector)

    def shows(self, words, selector='main'):
        eventually(lambda: words in self.text(selector),
                   lambda: f'{words!r} is not shown in {selector}: {self.text(selector)!r}')

    def shot(self, name):
        self.driver.save_screenshot(f'{self.output}/{name}.png')

    def find(self, selector):
        return self.driver.find_element('css selector', selector)

    def check_access(self, name):
        if not self.axe:
            return
        self.driver.execute_script(self.axe)
        found = self.driver.execute_async_script('axe.run().then(arguments[0])')
        assert not found['violations'], name + ': ' + json.dumps(
            [[v['id'], v['help'], [node['html'] for node in v['nodes']][:3]] for v in found['violations']], indent=1)

    def complaints(self):
        return [entry['message'] for entry in self.driver.get_log('browser') if entry['level'] == 'SEVERE']


def story(device, browser):
    from selenium.webdriver.common.keys import Keys

    # Nothing is there yet, and the page says so.
    eventually(lambda: subprocess.run(['true']).returncode == 0 and can_connect(device.port), 'no page')
    browser.open('#/')
    browser.shows('There is no policy.')
    browser.shows('live', '#situation')
    browser.shot('1-empty')

    # What comes is shown without a touch.
    device.apply(SWITCH | {'qor/version1/policy': {'policy': {'policyFragment': {'web': POLICY}}}})
    browser.shows('Ways through web')
    browser.shows('programmed')
    eventually(lambda: browser.driver.execute_script(
        'return document.querySelectorAll(".picture .way.good").length === 3 && '
        'document.querySelectorAll(".picture .way.wait").length === 1'), 'the ways are not drawn as they stand')
    browser.shot('2-switch')
    assert 'leaf1' in browser.driver.title, browser.driver.title

    # Names are texts.
    assert HOSTILE in browser.text(), browser.text()
    assert not browser.driver.execute_script('return document.querySelector("main img")')

    # The list of flows: filter, search by keyboard, a link that can be sent.
    browser.open('#/flows')
    browser.shows('1 to 5 of 5')
    browser.find('#state').send_keys('initial')
    browser.shows('1 to 1 of 1')
    browser.open('#/flows')
    browser.shows('1 to 5 of 5')
    browser.find('body').send_keys('/')
    browser.driver.switch_to.active_element.send_keys('FROM-B')
    browser.shows('1 to 1 of 1')
    address = browser.driver.current_url
    assert 'search=FROM-B' in address, address
    browser.shot('3-flows')
    first = browser.driver.current_window_handle
    # A browser without a screen shows all its tabs.
    browser.driver.execute_script('Object.defineProperty(document, "hidden", {value: true, configurable: true})')
    browser.driver.switch_to.new_window('tab')
    browser.look()
    browser.driver.get(address)
    browser.shows('1 to 1 of 1')
    # A link can be clicked while the switch changes.
    with device.changing('qor/version1/policy/policy/policyFragment/web/serviceIntfSet/near/intf/Ethernet8'):
        browser.find('main table a').click()
        browser.shows('02:00:00:00:00:0b in VLAN 100 is not learnt')
    browser.shot('4-flow')

    # Both pages follow, each when it is seen: the host comes, and its flow is programmed.
    device.apply({'bridging/status': {'fdbStatus': {'100|02:00:00:00:00:0b': {'intf': 'Ethernet1', 'entryType': 'local'}}}})
    eventually(lambda: browser.text('.summary').startswith('programmed'), lambda: browser.text('.summary'))
    browser.driver.close()
    browser.driver.switch_to.window(first)
    assert 'initial' in browser.text('tbody'), 'a page that nobody sees is read'
    browser.driver.execute_script('delete document.hidden; document.dispatchEvent(new Event("visibilitychange"))')
    browser.shows('programmed', 'tbody')

    # A frame's way.
    browser.open('#/frame')
    for name, words in (('in', 'Ethernet1'), ('from', '02:00:00:00:00:0a'), ('to', '02:00:00:00:ff:01'), ('vlan', '100')):
        browser.find(f'#frame-{name}').send_keys(words)
    browser.find('#frame-vlan').send_keys(Keys.ENTER)
    browser.shows('Ethernet5, tagged', '.exits')
    browser.find('#frame-vlan').clear()
    browser.find('#frame-vlan').send_keys('5000', Keys.ENTER)
    browser.shows('VLAN of its tag: wants a number up to 4094')
    # The server has refused that, as it should.
    assert all('400 (Bad Request)' in words for words in browser.complaints())

    # A change is visible soon.
    browser.open('#/changes')
    browser.shows('the controller')
    began = time.monotonic()
    subprocess.run(device.redis('SET', 'qor{leaf1}:qor/version1/policy/policy/policyFragment/web/serviceIntfSet/near/intf/Ethernet9', 'true'),
                   stdout=subprocess.DEVNULL, check=True)
    browser.shows('near/intf/Ethernet9')
    browser.find('#filter').send_keys('Ethernet9')
    eventually(lambda: browser.driver.current_url.endswith('#/changes?search=Ethernet9'), 'the search is not in the address')
    print(f'a change was visible after {time.monotonic() - began:.3f} s, its writer and this test included')
    browser.open('#/processes')
    browser.shows('lease held by process')

    # Every view: no words against it, whatever the light and the width.
    for scheme, width in (('light', 1280), ('dark', 1280), ('light', 390)):
        browser.look(width, 900, scheme)
        for name, place in VIEWS.items():
            browser.open(place)
            eventually(lambda: browser.text('h1') and browser.text('#situation') == 'live', name)
            time.sleep(.2)
            browser.check_access(f'{name}, {scheme}, {width}')
            wide, room = browser.driver.execute_script('return [document.documentElement.scrollWidth, innerWidth]')
            assert wide <= room, f'{name} is {wide} wide, of {room}'
            browser.shot(f'5-{name}-{scheme}-{width}')
    browser.look()
    assert not browser.complaints()

    # A service of several sets is drawn with all of them, and whoever is at a link stays there while
    # the page is shown anew.
    browser.open('#/')
    browser.shows('Ways through web')
    at = browser.driver.execute_script(
        'const link = document.querySelector(".ways a"); link.focus(); return link.getAttribute("href")')
    device.apply({'qor/version1/policy': {'policy': {'policyFragment': {'three': THREE}}}})
    browser.shows('Ways through three')
    assert browser.driver.execute_script('return document.activeElement.getAttribute("href")') == at
    eventually(lambda: browser.driver.execute_script('return document.querySelectorAll(".picture .way").length') == 7,
               'a set is not drawn')
    browser.shot('6-three')
    browser.open('#/ports')
    browser.shows('three/dmz')

    # What the drawing shows is in lists, too.
    browser.open('#/tunnels')
    browser.shows('192.0.2.9')
    browser.open('#/learnt?state=intercepted&search=ethernet1')
    browser.shows('02:00:00:00:00:0b')

    # Skipping to the content, by keyboard.
    browser.open('#/flows')
    browser.shows('1 to')
    browser.find('body').send_keys(Keys.TAB)
    assert browser.driver.switch_to.active_element.get_attribute('id') == 'skip'
    browser.driver.switch_to.active_element.send_keys(Keys.ENTER)
    assert browser.driver.switch_to.active_element.get_attribute('id') == 'main'

    # Where there is no room for one page more, it comes in when there is.
    browser.driver.get('about:blank')
    others = [listen(device.port) for _ in range(64)]
    browser.open('#/flows')
    browser.shows('it is tried again', '#banner')
    assert all('503' in words for words in browser.complaints())
    for one in others:
        one.close()
    eventually(lambda: browser.text('#situation') == 'live', 'it is not tried again')
    browser.complaints()

    # The engine is lost: the page says so, shows what stood, and goes on when it is back.
    device.kill('engine')
    browser.shows('What is shown is how it stood last', '#banner')
    assert 'from-b' in browser.text()
    browser.shot('6-lost')
    os.unlink(f'{device.folder}/redis')
    device.engine()
    eventually(lambda: browser.text('#situation') == 'live' and not browser.text('#banner'), 'it does not come back')

    # The page's server ends and comes again.
    device.kill('web')
    browser.shows('does not answer', '#banner')
    device.start('qorclient', 'web', '--listen', f'127.0.0.1:{device.port}')
    eventually(lambda: browser.text('#situation') == 'live', 'it does not come back')

    # One that has never read the state says nothing of the switch.
    device.kill('web')
    device.kill('engine')
    device.start('qorclient', 'web', '--listen', f'127.0.0.1:{device.port}')
    eventually(lambda: can_connect(device.port), 'no page')
    browser.open('#/flows')
    browser.shows('It has not been read yet', '#banner')
    browser.shows('Nothing has been read yet')
    browser.open('#/')
    browser.shows('It has not been read yet', '#banner')
    assert 'policy' not in browser.text(), browser.text()
    os.unlink(f'{device.folder}/redis')
    device.engine()
    browser.shows('Ways through web')


def listen(port):
    """Another page that is open; waits until one is let in."""
    while True:
        stream = socket.create_connection(('127.0.0.1', port))
        stream.sendall(b'GET /events HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n' % port)
        if b' 200 ' in stream.recv(100):
            return stream
        stream.close()
        time.sleep(.1)


def can_connect(port):
    with socket.socket() as probe:
        return probe.connect_ex(('127.0.0.1', port)) == 0


def tell_all(device, browser):
    """What each had to say, behind a failure."""
    if browser:
        browser.shot('failed')
        print('the page shows:', browser.text('body'))
        print('the browser says:', *browser.complaints(), sep='\n')
    for name in ('engine', 'serve', 'simulate', 'web'):
        with open(f'{device.folder}/{name}.log', errors='replace') as log:
            print(f'{name} says:', *log.readlines()[-20:], sep='\n')


def main():
    programs, output = sys.argv[1:]
    missing()
    os.makedirs(output, exist_ok=True)
    folder = tempfile.mkdtemp(prefix='qorclient-page-')
    device = Device(programs, folder)
    browser = None
    try:
        browser = Browser(device, folder, output)
        if not browser.axe:
            print('axe-core is not there: accessibility is not checked')
        story(device, browser)
    except Exception:
        tell_all(device, browser)
        raise
    finally:
        if browser:
            browser.driver.quit()
        device.end()
        shutil.rmtree(folder, ignore_errors=True)
    print('all that the page is to show is shown')


main()
