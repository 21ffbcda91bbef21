// Runs the installation check of the installer package on several kinds of Mac. Simulates them with objects like those
// of the installer.
//
// usage: node distribution.js DISTRIBUTION

const fs = require('fs');
const vm = require('vm');

const source = /<!\[CDATA\[([\s\S]*?)\]\]>/.exec(fs.readFileSync(process.argv[2], 'utf8'))[1];

const compare = (one, other) => {
  const [a, b] = [one, other].map((version) => version.split('.').map(Number));
  const difference = [0, 1, 2].map((i) => (a[i] || 0) - (b[i] || 0)).find((d) => d !== 0) || 0;
  return Math.sign(difference);
};

// Returns the result of the check on a Mac: an empty string if installation is allowed.
function answer(version, model, controllers) {
  const mac = {
    my: { result: {} },
    system: {
      version: { ProductVersion: version },
      compareVersions: compare,
      sysctl: () => model,
      ioregistry: { matchingClass: (name) => (name === 'AppleSMC' ? controllers() : null) },
    },
  };
  vm.createContext(mac);
  const passes = vm.runInContext(source + '\ncanServeThisMac()', mac);
  return passes ? '' : `${mac.my.result.type}: ${mac.my.result.message}`;
}

const one = () => [{}];
const tooOld = 'Fatal: It needs macOS 14 or newer.';
const noFan = 'Fatal: This Mac has no controllable fan.';
const noController = 'Warn: No fan controller was found. If the helper finds none either, the installer removes it again.';
const cases = [
  ['13.7.8', 'Mac14,9', one, tooOld],
  ['14.0', 'Mac14,9', one, ''],
  ['15.1', 'MacBookPro18,3', one, ''],
  ['26.0', 'Mac16,1', one, ''],
  ['15.1', 'MacBookAir10,1', one, noFan],
  ['15.1', 'MacBookAir9,1', one, ''], // has a fan
  ['15.1', 'Mac14,2', one, noFan],
  ['15.1', 'Mac14,15', one, noFan],
  ['15.1', 'Mac15,12', one, noFan],
  ['15.1', 'Mac15,13', one, noFan],
  ['15.1', 'Mac16,12', one, noFan],
  ['15.1', 'Mac16,13', one, noFan],
  ['15.1', 'Mac16,11', one, ''],
  ['15.1', 'Mac16,10', one, ''],
  ['26.0', 'Mac99,1', one, ''], // an unknown model: postinstall asks the helper
  ['15.1', 'VirtualMac2,1', () => [], noController],
  ['15.1', 'VirtualMac2,1', () => null, noController],
  ['13.7.8', 'VirtualMac2,1', () => [], tooOld],
  ['15.1', 'Mac14,9', () => { throw new Error('no registry'); }, ''], // postinstall asks the helper
];
let failed = false;
for (const [version, model, controllers, expected] of cases) {
  const actual = answer(version, model, controllers);
  if (actual === expected) continue;
  console.log(`macOS ${version} on ${model}: expected "${expected}", got "${actual}"`);
  failed = true;
}
if (!failed) console.log(`the package answers well on ${cases.length} Macs`);
process.exit(failed ? 1 : 0);
