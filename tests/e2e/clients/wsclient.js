// A connection of the package ws to the event server: wsclient.js URL [COOKIE]
// Each line of the input is sent as a frame, and the end of the input closes the connection. Each line of the output is
// a JSON array that tells what was heard.
'use strict';
const readline = require('readline');
const WebSocket = require('ws');

const [url, cookie] = process.argv.slice(2);
const socket = new WebSocket(url, {headers: cookie ? {Cookie: cookie} : {}});
const tell = (...heard) => process.stdout.write(JSON.stringify(heard) + '\n');
socket.on('open', () => tell('open'));
socket.on('message', data => tell('message', data.toString()));
socket.on('error', error => tell('error', error.message));
socket.on('close', (code, reason) => {
    tell('close', code, reason.toString());
    process.stdin.destroy();
});
readline.createInterface({input: process.stdin})
    .on('line', line => socket.send(line))
    .on('close', () => socket.close(1000));
