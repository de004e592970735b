// Writes strings.json: consent strings made by the IAB's own encoder, each with
// the bit strings a consent tool keeps beside it (IABTCF_PurposeConsents and
// the rest), as the encoder decodes them back.
import { GVL, TCModel, TCString } from '@iabtechlabtcf/core';

// The house network's vendor id in these tests; any id the vendor list holds.
const houseVendor = 4242;
const otherVendor = 10;
const range = (first, last) => Array.from({ length: last - first + 1 }, (_, i) => first + i);

const vendor = (id) => ({
  id, name: `vendor ${id}`, purposes: range(1, 11), legIntPurposes: [], flexiblePurposes: [],
  specialPurposes: [], features: [], specialFeatures: [1, 2], policyUrl: 'https://example.com/privacy',
});
const vendorIds = [...range(1, 3000), houseVendor];
const vendorList = {
  gvlSpecificationVersion: 3, vendorListVersion: 100, tcfPolicyVersion: 5,
  lastUpdated: '2026-11-01T00:00:00Z',
  purposes: Object.fromEntries(range(1, 11).map((id) => [id, { id, name: `purpose ${id}`, description: '' }])),
  specialPurposes: {}, features: {},
  specialFeatures: { 1: { id: 1, name: 'precise location', description: '' }, 2: { id: 2, name: 'device scan', description: '' } },
  stacks: {}, dataCategories: {},
  vendors: Object.fromEntries(vendorIds.map((id) => [id, vendor(id)])),
};

const cases = {
  full: { purposes: range(1, 11), specialFeatures: [1, 2], vendors: [otherVendor, houseVendor] },
  withoutPurpose1: { purposes: range(2, 11), specialFeatures: [1], vendors: [houseVendor] },
  withoutPersonalisation: { purposes: [1, 2, 7, 8, 9, 10], specialFeatures: [1], vendors: [houseVendor] },
  withoutSpecialFeature1: { purposes: range(1, 11), specialFeatures: [], vendors: [houseVendor] },
  withoutHouseVendor: { purposes: range(1, 11), specialFeatures: [1], vendors: [otherVendor] },
  nothing: { purposes: [], specialFeatures: [], vendors: [] },
  // Few and low enough that the encoder writes one flag per vendor.
  oddVendors: { purposes: range(1, 11), specialFeatures: [1], vendors: range(1, 40).filter((id) => id % 2) },
  // Long enough that the encoder writes the vendors as ranges.
  manyVendors: { purposes: range(1, 11), specialFeatures: [1], vendors: [...range(1, 3000), houseVendor] },
};

const flags = (vector, count) => range(1, count).map((id) => (vector.has(id) ? '1' : '0')).join('');

const gvl = new GVL(vendorList);
const out = { houseVendor, cases: {} };
for (const [name, c] of Object.entries(cases)) {
  const model = new TCModel(gvl);
  model.cmpId = 300;
  model.cmpVersion = 2;
  model.consentLanguage = 'EN';
  model.publisherCountryCode = 'DE';
  model.created = model.lastUpdated = new Date('2026-11-01T00:00:00Z');
  model.purposeConsents.set(c.purposes);
  model.specialFeatureOptins.set(c.specialFeatures);
  model.vendorConsents.set(c.vendors);
  const tcString = TCString.encode(model);
  const back = TCString.decode(tcString);
  out.cases[name] = {
    tcString,
    purposeConsents: flags(back.purposeConsents, 24),
    vendorConsents: flags(back.vendorConsents, back.vendorConsents.maxId),
    specialFeatureOptIns: flags(back.specialFeatureOptins, 12),
  };
}
process.stdout.write(JSON.stringify(out, null, 2) + '\n');
