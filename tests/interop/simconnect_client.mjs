// node-simconnect, an independent SimConnect network client, against our fake SimConnect server: it opens
// as "Vortane", builds the MSFS source's data definition, requests the user aircraft's data once and
// subscribes to SimStart and SimStop, in the order our source does, then waits for the open answer, one data
// block and one event. Prints what it got; ends with 0 only when all three arrived and read back as served.
//
//   node simconnect_client.mjs <port>
import simconnect from 'node-simconnect';

const { open, Protocol, SimConnectDataType, SimObjectType, SimConnectConstants } = simconnect;
const port = Number(process.argv[2]);

const definition = [
    ['SIM ON GROUND', 'Bool'],
    ['TRAILING EDGE FLAPS LEFT PERCENT', 'percent over 100'],
    ['TRAILING EDGE FLAPS RIGHT PERCENT', 'percent over 100'],
    ['AILERON TRIM PCT', 'percent over 100'],
    ['ELEVATOR TRIM PCT', 'percent over 100'],
    ['RUDDER TRIM PCT', 'percent over 100'],
    ['G FORCE', 'GForce'],
    ['INCIDENCE ALPHA', 'degree'],
    ['AIRSPEED INDICATED', 'kilometer per hour'],
    ['GEAR CENTER POSITION', 'percent over 100'],
    ['GEAR LEFT POSITION', 'percent over 100'],
    ['GEAR RIGHT POSITION', 'percent over 100'],
    ['NUMBER OF ENGINES', 'Number'],
    ['PROP MAX RPM PERCENT:1', 'percent'],
    ['PROP MAX RPM PERCENT:2', 'percent'],
    ['PROP MAX RPM PERCENT:3', 'percent'],
    ['PROP MAX RPM PERCENT:4', 'percent'],
    ['VERTICAL SPEED', 'm/s'],
];

const timeout = setTimeout(() => {
    console.error('node-simconnect: no open answer, data block and event within 10 s');
    process.exit(1);
}, 10000);

const { recvOpen, handle } = await open('Vortane', Protocol.KittyHawk, { host: '127.0.0.1', port });
console.log(`open answered by "${recvOpen.applicationName}" ${recvOpen.simConnectVersionMajor}.${recvOpen.simConnectVersionMinor}`);

let gotData = false;
let gotEvent = false;
const finish = () => {
    if (gotData && gotEvent) {
        clearTimeout(timeout);
        handle.close();
        process.exit(0);
    }
};
handle.on('exception', (e) => {
    console.error(`node-simconnect: exception ${e.exception} for packet ${e.sendId}`);
    process.exit(1);
});
handle.on('simObjectDataByType', (message) => {
    if (gotData)
        return;
    const values = [];
    for (let i = 0; i < 18; ++i)
        values.push(message.data.readFloat64());
    const title = message.data.readString256();
    console.log(`data block: request ${message.requestID}, G force ${values[6]}, title "${title}"`);
    if (message.requestID !== 0 || values[6] !== 1.25 || title !== 'Interop Aircraft') {
        console.error('node-simconnect: the data block does not read back as served');
        process.exit(1);
    }
    gotData = true;
    finish();
});
handle.on('event', (event) => {
    console.log(`event: client event ${event.clientEventId}`);
    gotEvent = true;
    finish();
});

for (const [name, units] of definition)
    handle.addToDataDefinition(0, name, units, SimConnectDataType.FLOAT64, 0, SimConnectConstants.UNUSED);
handle.addToDataDefinition(0, 'TITLE', null, SimConnectDataType.STRING256, 0, SimConnectConstants.UNUSED);
// Appended for the aircraft-class suggestion, after the list above.
handle.addToDataDefinition(0, 'CATEGORY', null, SimConnectDataType.STRING256, 0, SimConnectConstants.UNUSED);
handle.addToDataDefinition(0, 'ENGINE TYPE', 'Enum', SimConnectDataType.FLOAT64, 0, SimConnectConstants.UNUSED);
handle.addToDataDefinition(0, 'ATC HEAVY', 'Bool', SimConnectDataType.FLOAT64, 0, SimConnectConstants.UNUSED);
handle.requestDataOnSimObjectType(0, 0, 0, SimObjectType.USER);
handle.subscribeToSystemEvent(0, 'SimStart');
handle.subscribeToSystemEvent(1, 'SimStop');
